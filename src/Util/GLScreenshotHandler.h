#pragma once

#include "Util/CapturedImage.h"
#include "Util/Export.h"
#include "Util/ScreenshotWriter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Util {

/// Takes screenshots of the framebuffer that is bound for drawing and writes them as BMP or PNG files.
///
/// Two ways to use it. By itself it writes each picture on the calling thread before a capture returns. With
/// a sink (`SetSink`) it only reads: each picture goes to the sink, whose status stands where that of
/// `WriteScreenshot` would, and another handler, on any thread, writes it with `WriteScreenshot`. A host that
/// wants pictures without files needs no handler at all: see GLReadback.h. The library itself starts no
/// thread.
///
/// The handler keeps the memory that it reads into for its next capture; see `ReleaseMemory`.
///
/// Every capture runs on the thread on which the OpenGL ES context is current, reaches GL and EGL through the
/// host's dispatch tables alone, and needs OpenGL ES 3.0; framebuffer objects and thumbnails need 3.1. GL
/// state is as before when a call returns, except where an operation says so, and no GL object remains; a GL
/// error that was pending is consumed. A capture whose entry points are not all there returns 1, nearly
/// always before any GL call; what a multisampled or multiview source needs beside that is known only when
/// the source has been described. The host's `m_opaqueScreenshots` makes every alpha of a picture 255.
///
/// A picture that the driver does not deliver (an incomplete framebuffer object, a lost context) is black,
/// with a warning in the log, and what the source is too small for is black.
///
/// Pixels between the operations are laid out as `glReadPixels` returns them: bottom row first, rows of width
/// x `GetPitch(format, type)` bytes without padding.
///
/// Known limits: write masks and blending set for single draw buffers (OpenGL ES 3.2) come back as those of
/// draw buffer 0; viewports and scissor tests of `GL_OES_viewport_array` come back as those of viewport 0; a
/// query that is active (occlusion, primitives, time) counts the quad of a depth or stencil capture; a
/// binding whose object another context has deleted meanwhile comes back to an empty object of that name; the
/// window surface is read through the surface current for drawing, which must also be the one current for
/// reading; with polygons drawn as lines or points (`GL_NV_polygon_mode`, `GL_ANGLE_polygon_mode`), depth and
/// stencil are black where `eglGetProcAddress` does not know the function that changes it; conditional
/// rendering in progress (`GL_NV_conditional_render`) may leave thumbnails, depth and stencil without
/// content; 16-bit signed normalized colour is black at full size where the driver refuses to read it as
/// bytes, with a warning, while its thumbnails and its values (`GLValueReadback.h`) are right.
///
/// In a context without error reporting (`GL_KHR_no_error`) a copy that the driver refuses cannot be noticed,
/// and the target of a texture is not found out by trial: of framebuffer objects, renderbuffers, cube map
/// faces and textures that are bound to a texture unit are captured; the others give 1, with a warning for
/// the first. Such a context tells what it is from OpenGL ES 3.2 on; below that it may not, and what a
/// capture does then is the driver's secret.
class UTIL_EXPORT GLScreenshotHandler : public ScreenshotWriter
{
public:
    /// @param imageFormat  kind of every file of this handler: `FormatBMP` or `FormatPNG`; with any other,
    ///                     every screenshot fails with 8
    explicit GLScreenshotHandler(ImageFormat imageFormat);
    ~GLScreenshotHandler() override;

    /// Lets all captures of this handler go to a sink instead of a file.
    ///
    /// @param sink  must live as long as it is set; null: pictures are written, as at the start
    void SetSink(ImageSink* sink);

    /// Gives back the memory that is kept from one capture to the next: as much as the largest picture so
    /// far, 8 MiB for 1920 x 1080 and four times that for floats, and what `ScreenshotWriter::ReleaseMemory`
    /// tells. The next capture gets it anew, which costs about as much time as reading the picture does:
    /// pages that the process has not used yet are slow.
    void ReleaseMemory();

    /// Captures what is bound for drawing: the window surface, or the attachments of a framebuffer object.
    ///
    /// Files, each with ".bmp" or ".png" behind it: of the window surface `fileName`, `fileName`_depth and
    /// `fileName`_stencil; of a framebuffer object `fileName`_color0, _color1 and so on up to the first point
    /// without an attachment, then _depth and _stencil.
    ///
    /// @param fileName    path without extension
    /// @param bufferMask  `GL_COLOR_BUFFER_BIT`, `GL_DEPTH_BUFFER_BIT`, `GL_STENCIL_BUFFER_BIT`; others are
    ///                    ignored
    /// @return status of the last capture made, each taking the place of the one before: the walk over colour
    ///         attachments ends with 1 at the first empty point even when all before it succeeded. 1 when
    ///         nothing was asked for. Files already written stay.
    std::uint32_t TakeScreenshot(const std::string& fileName, std::uint32_t bufferMask);

    /// Captures one buffer of the window surface; colour is read as 8-bit RGBA whatever its configuration,
    /// except that floats (`EGL_EXT_pixel_format_float`) are read as such.
    ///
    /// @param fileName  path without extension; "_depth" or "_stencil" is added for these two
    /// @param buffer    `GL_BACK`, `GL_DEPTH` or `GL_STENCIL`
    /// @return 0; 1 when there is no surface or it has neither depth nor stencil; the status of
    ///         `WriteScreenshot`. The one that is missing beside the other gives a black picture and a
    ///         warning: look at `GL_DEPTH_BITS` and `GL_STENCIL_BITS` before asking.
    std::uint32_t TakeScreenshotBackBuffer(const std::string& fileName, std::uint32_t buffer);

    /// Captures one attachment of the framebuffer object bound for drawing, which must be bound for reading
    /// too.
    ///
    /// Renderbuffers, and 2D, cube map, 3D and 2D array textures at any level, face and layer; multisampled
    /// ones are resolved.
    ///
    /// @param fileName    path without extension; "_color" and the number, "_depth" or "_stencil" is added
    /// @param attachment  `GL_COLOR_ATTACHMENT0` + i, `GL_DEPTH_ATTACHMENT` or `GL_STENCIL_ATTACHMENT`
    /// @return 0; 1 when nothing is attached, the object is gone, or its format cannot be shown (integer
    ///         colours), or the driver refuses to resolve its samples; the status of `WriteScreenshot`
    std::uint32_t TakeScreenshotFBO(const std::string& fileName, std::uint32_t attachment);

    /// Reads a colour buffer of the framebuffer bound for reading and writes it.
    ///
    /// @param readBuffer      `GL_BACK` or `GL_COLOR_ATTACHMENT0` + i
    /// @param internalFormat  of the buffer; chooses the transfer format, see `GetReadPixelFormatType`
    /// @return 0; 1 when a size is below 1, there is no such buffer, its format cannot be shown or there is
    ///         no memory; the status of `WriteScreenshot`
    std::uint32_t WriteColorBuffer(const std::string& fileName, std::int32_t readBuffer, std::int32_t width,
                                   std::int32_t height, std::int32_t internalFormat);

    /// Reads depth or stencil of the framebuffer bound for drawing and writes it as grey.
    ///
    /// @param depthSize    depth bits of the buffer
    /// @param stencilSize  stencil bits of the buffer
    /// @return 0; 1 when a size is below 1, no depth/stencil format has these bits, or there is no memory;
    ///         the status of `WriteScreenshot`
    std::uint32_t WriteDepthStencilBuffer(const std::string& fileName, std::int32_t width,
                                          std::int32_t height, std::uint32_t depthSize,
                                          std::uint32_t stencilSize, bool isStencil);

    /// Turns depth or stencil of the framebuffer bound for drawing into grey pixels.
    ///
    /// Depth 0 to 1 becomes 0 to 255, a stencil value becomes itself; alpha is 255. The source is scaled to
    /// the output with nearest filtering. Where the driver refuses to copy the buffer, or the shader does not
    /// build, the pixels are opaque black and a warning is logged.
    ///
    /// @param srcWidth, srcHeight  size of the source, from its origin
    /// @param dstWidth, dstHeight  size of the output
    /// @param pixels               room for dstWidth x dstHeight x 4 bytes; receives `GL_RGBA` /
    ///                             `GL_UNSIGNED_BYTE`
    /// @param internalFormat, format, type  `glTexImage2D` triple of a texture that can take the buffer, as
    ///                             `GetDepthStencilFormatType` gives it
    /// @param stencil              false: depth; true: stencil, which needs OpenGL ES 3.1
    /// @return 0, also when an entry point is missing and nothing was done; 6 when `pixels` is null
    std::int32_t GetDepthStencilBuffer(std::uint32_t srcWidth, std::uint32_t srcHeight,
                                       std::uint32_t dstWidth, std::uint32_t dstHeight, std::uint8_t* pixels,
                                       std::uint32_t internalFormat, std::uint32_t format, std::uint32_t type,
                                       bool stencil);

    /// Captures the colour of the window surface, or of colour attachment 0 of the framebuffer object bound
    /// for drawing, scaled down (or up) to fit a box.
    ///
    /// The driver scales, with one linear blit, after resolving a multisampled source; of a
    /// `GL_OVR_multiview` attachment the view at its layer, or else its base view, is shown. Only pixels of
    /// the thumbnail's size are read back. Where the driver refuses to scale, the picture has the full size
    /// of the source.
    ///
    /// @param fileName   path without extension
    /// @param maxWidth   width of the box in pixels; 0 for the source's own
    /// @param maxHeight  height of the box; 0 for the source's own. The picture keeps the source's
    ///                   proportions; the side that these give is truncated, not rounded.
    /// @return 0; 1 for a negative side, a size that no memory holds or a source that cannot be read (integer
    ///         colours); 3 when the source has width or height 0 or there is none; the status of
    ///         `WriteScreenshot`
    /// @note Pack row length and skips are 0 afterwards.
    std::uint32_t TakeScreenshotThumbnail(const std::string& fileName, std::int32_t maxWidth,
                                          std::int32_t maxHeight);

    /// As `TakeScreenshotThumbnail`, of the depth buffer as grey, scaled with nearest filtering.
    ///
    /// @return 0; 1 for a side that is negative, comes out as 0 or exceeds `GL_MAX_TEXTURE_SIZE`, or no
    ///         memory; 4 when there are no depth bits; 3 for a source of size 0; the status of
    ///         `WriteScreenshot`
    std::uint32_t TakeScreenshotThumbnailDepth(const std::string& fileName, std::int32_t maxWidth,
                                               std::int32_t maxHeight);

    /// As `TakeScreenshotThumbnailDepth`, of the stencil buffer.
    std::uint32_t TakeScreenshotThumbnailStencil(const std::string& fileName, std::int32_t maxWidth,
                                                 std::int32_t maxHeight);

    /// Writes a block of pixels as an image file. Makes no GL call. While the host's `m_opaqueScreenshots` is
    /// set, every alpha is written as 255. Several handlers may write on several threads at once.
    ///
    /// @param fileName  path; ".bmp" or ".png" is appended always
    /// @param pixels    bottom row first; may be null where the image has no pixels
    /// @param format    `GL_RGBA`
    /// @param type      `GL_UNSIGNED_BYTE`, `GL_UNSIGNED_INT`, `GL_INT` or `GL_FLOAT`
    /// @return 0; 8 for a handler of another image kind; 1 when layout or block are refused, the file cannot
    ///         be created or was not written whole, or there is no memory. Each is logged, but for a lack of
    ///         memory for the path; after 8 and a refusal there is no file, otherwise what was written of it
    ///         stays.
    std::uint32_t WriteScreenshot(const std::string& fileName, std::uint32_t width, std::uint32_t height,
                                  const std::uint8_t* pixels, std::uint32_t format, std::uint32_t type);

    /// As the other, with the settings that were in force when the picture was read. Of B, G, R, A only
    /// `GL_UNSIGNED_BYTE` is taken.
    std::uint32_t WriteScreenshot(const CapturedImage& image);

    /// Converts pixels to B, G, R, A bytes and appends them to the open file.
    ///
    /// @param flipVertical  top row first instead of bottom row first
    /// @param makeOpaque    every alpha becomes 255
    /// @return 0; 1 for a layout that cannot be converted or without memory; the status of `WriteImageData`
    std::uint32_t WriteAsBGRA(const std::uint8_t* pixels, std::uint32_t width, std::uint32_t height,
                              std::uint32_t format, std::uint32_t type, bool flipVertical, bool makeOpaque);

    /// @param pixel  bytes B, G, R, A from the lowest
    static constexpr std::uint32_t MakeOpaque(std::uint32_t pixel) { return pixel | 0xFF000000U; }

private:
    /// What there is without a sink of the host's: writes each picture with the handler.
    class WritingSink final : public ImageSink
    {
    public:
        explicit WritingSink(GLScreenshotHandler& handler) : m_handler(handler) {}

        std::uint32_t Take(const CapturedImage& image) override { return m_handler.WriteScreenshot(image); }
        UTIL_INTERNAL std::uint8_t* Lend(std::size_t bytes) override;
        UTIL_INTERNAL void ReleaseMemory();

    private:
        GLScreenshotHandler& m_handler;
        std::unique_ptr<std::uint8_t[]> m_memory;
        std::size_t m_size = 0;
    };

    UTIL_INTERNAL std::uint32_t WriteAsBGRA(const CapturedImage& image, bool flipVertical);

    const ImageFormat m_imageFormat;
    WritingSink m_writing{*this};
    ImageSink* m_pSink = &m_writing;
};

} // namespace Util
