#include "Util/GLAttachment.h"
#include "Util/GLCopy.h"
#include "Util/GLDepthStencil.h"
#include "Util/GLDispatch.h"
#include "Util/GLReadback.h"
#include "Util/GLState.h"
#include "Util/GLUtils.h"
#include "Util/Picture.h"
#include "Util/StatusCode.h"

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <span>

namespace Util {

namespace {

/// @return `length` without its fraction, cut to what a size can be
GLsizei Truncate(float length)
{
    constexpr float Limit = 0x1p31F;
    return std::abs(length) < Limit ? static_cast<GLsizei>(length) : std::numeric_limits<GLsizei>::max();
}

/// The largest size of the source's proportions in a box; a side of 0 stands for the source's own.
Size FitIntoBox(Size source, std::int32_t maxWidth, std::int32_t maxHeight)
{
    Size size{maxWidth != 0 ? maxWidth : source.width, maxHeight != 0 ? maxHeight : source.height};
    const float sourceAspect = static_cast<float>(source.width) / static_cast<float>(source.height);
    const float boxAspect = static_cast<float>(size.width) / static_cast<float>(size.height);
    if (sourceAspect > boxAspect) {
        size.height = Truncate(static_cast<float>(size.width) / sourceAspect);
    } else if (sourceAspect < boxAspect) {
        size.width = Truncate(static_cast<float>(size.height) * sourceAspect);
    }
    return size;
}

/// One view of a multiview attachment, attached to a framebuffer object of the library's own.
class ViewFramebuffer
{
public:
    ViewFramebuffer() = default;
    ViewFramebuffer(const ViewFramebuffer&) = delete;
    ViewFramebuffer& operator=(const ViewFramebuffer&) = delete;
    ~ViewFramebuffer() { GL::DeleteFramebuffers(1, &m_name); }

    /// Makes it and leaves it bound for drawing and reading.
    ///
    /// @param point  where the view is attached
    /// @return false when the host lacks an entry point for it; nothing is made then
    bool Create(const Attachment& source, GLenum point)
    {
        const bool isLayered = source.target == GL_TEXTURE_2D_ARRAY || source.target == GL_TEXTURE_3D ||
                               source.target == GL_TEXTURE_2D_MULTISAMPLE_ARRAY;
        if (isLayered && !HasEntryPoints(GL::FramebufferTextureLayer)) {
            return false;
        }
        GL::GenFramebuffers(1, &m_name);
        GL::BindFramebuffer(GL_FRAMEBUFFER, m_name);
        const auto texture = static_cast<GLuint>(source.objectName);
        if (isLayered) {
            GL::FramebufferTextureLayer(GL_FRAMEBUFFER, point, texture, source.level, source.ViewLayer());
        } else {
            GL::FramebufferTexture2D(GL_FRAMEBUFFER, point, source.target, texture, source.level);
        }
        return true;
    }

    [[nodiscard]] GLuint Name() const { return m_name; }

private:
    GLuint m_name = 0;
};

/// Puts the framebuffer bindings back at the end of its scope.
class SavedFramebuffers
{
public:
    SavedFramebuffers()
        : m_draw(GetInteger(GL_FRAMEBUFFER_BINDING)), m_read(GetInteger(GL_READ_FRAMEBUFFER_BINDING))
    {}
    SavedFramebuffers(const SavedFramebuffers&) = delete;
    SavedFramebuffers& operator=(const SavedFramebuffers&) = delete;
    ~SavedFramebuffers()
    {
        GL::BindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(m_draw));
        GL::BindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(m_read));
    }

    [[nodiscard]] GLint Draw() const { return m_draw; }

private:
    GLint m_draw;
    GLint m_read;
};

/// Makes `glReadPixels` pack rows without padding. Only the alignment is put back, at the end of its scope.
class PackedThumbnailRead
{
public:
    PackedThumbnailRead() : m_alignment(GetInteger(GL_PACK_ALIGNMENT, 1))
    {
        GL::PixelStorei(GL_PACK_ALIGNMENT, 1);
        GL::PixelStorei(GL_PACK_ROW_LENGTH, 0);
        GL::PixelStorei(GL_PACK_SKIP_PIXELS, 0);
        GL::PixelStorei(GL_PACK_SKIP_ROWS, 0);
    }
    PackedThumbnailRead(const PackedThumbnailRead&) = delete;
    PackedThumbnailRead& operator=(const PackedThumbnailRead&) = delete;
    ~PackedThumbnailRead() { GL::PixelStorei(GL_PACK_ALIGNMENT, m_alignment); }

private:
    GLint m_alignment;
    BottomRowFirst m_bottomRowFirst;
};

/// The image that a colour thumbnail is made of.
struct ColorSource
{
    Attachment image;
    GLint framebuffer = 0;
    bool isMultisampled = false;
    bool isSrgb = false;
    bool isFloat = false;
};

ColorSource DescribeColorSource()
{
    ColorSource source;
    source.framebuffer = GetInteger(GL_FRAMEBUFFER_BINDING);
    const GLint sampleBuffers = GetInteger(GL_SAMPLE_BUFFERS);
    GLint defaultSamples = 0;
    if (source.framebuffer == 0) {
        const Size size = QuerySurfaceSize();
        source.image.width = size.width;
        source.image.height = size.height;
        source.image.redSize = GetInteger(GL_RED_BITS);
        source.image.greenSize = GetInteger(GL_GREEN_BITS);
        source.image.blueSize = GetInteger(GL_BLUE_BITS);
        source.image.alphaSize = GetInteger(GL_ALPHA_BITS);
    } else {
        source.image = DescribeAttachment(GL_COLOR_ATTACHMENT0, Views::Query);
        GL::GetFramebufferParameteriv(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_SAMPLES, &defaultSamples);
    }
    source.isMultisampled = sampleBuffers > 0 || defaultSamples > 0 || source.image.samples > 0;

    if (source.image.width != 0 && source.image.height != 0) {
        const auto get = [point = DefaultReadBuffer(source.framebuffer)](GLenum name) {
            GLint value = GL_NONE;
            GL::GetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, name, &value);
            return value;
        };
        source.isSrgb = get(GL_FRAMEBUFFER_ATTACHMENT_COLOR_ENCODING) == GL_SRGB;
        source.isFloat = get(GL_FRAMEBUFFER_ATTACHMENT_COMPONENT_TYPE) == GL_FLOAT;
        if (source.framebuffer == 0 && source.isFloat) {
            source.image.redType = GL_FLOAT; // `EGL_EXT_pixel_format_float`
        }
    }
    return source;
}

/// Layout of a texture that the source can be resolved into: the formats of the two must match.
ImageLayout ResolveLayout(const ColorSource& source)
{
    const Attachment& image = source.image;
    auto internalFormat = static_cast<GLenum>(image.internalFormat);
    if (internalFormat == 0 || IsUnsizedInternalFormat(internalFormat)) {
        const auto bits = [](GLint value) { return static_cast<unsigned int>(value); };
        internalFormat = GetInternalFormatFromRGBAComponentInfo(
            bits(image.redSize), bits(image.greenSize), bits(image.blueSize), bits(image.alphaSize),
            bits(image.redType), 0, 0, 0); // of the types, red's alone counts
    }
    if (source.isSrgb && (internalFormat == GL_RGBA8 || internalFormat == GL_RGB8)) {
        internalFormat = GL_SRGB8_ALPHA8; // a window surface tells its component sizes alone
    }
    return ColorLayoutOf(internalFormat);
}

/// Layout of the thumbnail. A blit converts between linear and sRGB values, and what is read back should look
/// like the source.
ImageLayout ThumbnailLayout(const ColorSource& source)
{
    return {static_cast<GLenum>(source.isSrgb ? GL_SRGB8_ALPHA8 : GL_RGBA), GL_RGBA, GL_UNSIGNED_BYTE};
}

/// What a depth or stencil thumbnail is copied into when the attachment has no sized format. 0 bits stand for
/// any number of them.
struct DepthStencilLayout
{
    GLint depthSize;
    GLint stencilSize;
    ImageLayout layout;
};

constexpr GLint AnyBits = 0;

constexpr ImageLayout Depth24Stencil8{GL_DEPTH24_STENCIL8, GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8};
constexpr ImageLayout Depth32Stencil8{GL_DEPTH32F_STENCIL8, GL_DEPTH_STENCIL,
                                      GL_FLOAT_32_UNSIGNED_INT_24_8_REV};

constexpr std::array<DepthStencilLayout, 5> DepthLayouts{{
    {24, 8, Depth24Stencil8},
    {24, AnyBits, {GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT}},
    {16, AnyBits, {GL_DEPTH_COMPONENT16, GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT}},
    {32, 8, Depth32Stencil8},
    {32, AnyBits, {GL_DEPTH_COMPONENT32F, GL_DEPTH_COMPONENT, GL_FLOAT}},
}};

constexpr std::array<DepthStencilLayout, 3> StencilLayouts{{
    {24, 8, Depth24Stencil8},
    {32, 8, Depth32Stencil8},
    {0, 8, {GL_STENCIL_INDEX8, GL_STENCIL_INDEX, GL_UNSIGNED_BYTE}},
}};

ImageLayout FindLayout(std::span<const DepthStencilLayout> layouts, const Attachment& image)
{
    const auto internalFormat = static_cast<GLenum>(image.internalFormat);
    if (internalFormat != 0 && !IsUnsizedInternalFormat(internalFormat)) {
        return LayoutOf(internalFormat, GL_UNSIGNED_INT);
    }
    for (const DepthStencilLayout& row : layouts) {
        const bool stencilFits = row.stencilSize == AnyBits || row.stencilSize == image.stencilSize;
        if (row.depthSize == image.depthSize && stencilFits) {
            return row.layout;
        }
    }
    return {internalFormat, internalFormat, GL_UNSIGNED_INT};
}

bool CanTakeThumbnail()
{
    return HasEntryPoints(GL::GetIntegerv, GL::GetFramebufferAttachmentParameteriv,
                          GL::GetRenderbufferParameteriv, GL::GetTexLevelParameteriv, GL::ReadBuffer,
                          GL::ReadPixels) &&
           CanCopyColor() && HasEntryPoints(GL::PixelStorei, GL::GetFramebufferParameteriv) &&
           CanQuerySurface() && CanDescribeAttachments();
}

std::uint32_t ReadThumbnailOf(Component component, ImageSink& sink, const std::string& fileName,
                              std::int32_t maxWidth, std::int32_t maxHeight)
{
    if (maxWidth < 0 || maxHeight < 0 || !CanDescribeAttachments() || !CanReadDepthStencil() ||
        !CanQuerySurface()) {
        return StatusFailure;
    }
    const bool isStencil = component == Component::Stencil;
    const GLenum point = isStencil ? GL_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT;
    const QuietErrors quiet;
    ViewFramebuffer view;
    const SavedFramebuffers saved;
    Attachment image;
    if (saved.Draw() == 0) {
        const Size size = QuerySurfaceSize();
        image.width = size.width;
        image.height = size.height;
        image.depthSize = GetInteger(GL_DEPTH_BITS);
        image.stencilSize = GetInteger(GL_STENCIL_BITS);
    } else {
        image = DescribeAttachment(point, Views::Query);
        if (image.isUntold) {
            return StatusFailure;
        }
        if (image.numViews > 0 && !view.Create(image, point)) {
            return StatusFailure;
        }
    }

    const ImageLayout layout =
        isStencil ? FindLayout(StencilLayouts, image) : FindLayout(DepthLayouts, image);
    if ((isStencil ? image.stencilSize : image.depthSize) == 0) {
        return StatusNoComponent;
    }
    if (image.width == 0 || image.height == 0) {
        return StatusEmptySource;
    }
    const Size size = FitIntoBox({image.width, image.height}, maxWidth, maxHeight);
    const GLint limit = GetInteger(GL_MAX_TEXTURE_SIZE);
    if (image.width < 0 || image.height < 0 || size.width < 1 || size.height < 1 || size.width > limit ||
        size.height > limit) {
        return StatusFailure;
    }

    Picture picture(sink, size, GL_UNSIGNED_BYTE);
    if (!picture.HasMemory()) {
        return StatusFailure;
    }
    ReadDepthStencil(component, {image.width, image.height}, size, layout, picture.Pixels());
    return picture.HandOver(fileName);
}

} // namespace

std::uint32_t ReadThumbnail(ImageSink& sink, const std::string& fileName, std::int32_t maxWidth,
                            std::int32_t maxHeight)
{
    if (maxWidth < 0 || maxHeight < 0 || !CanTakeThumbnail()) {
        return StatusFailure;
    }
    const QuietErrors quiet;
    const ColorSource source = DescribeColorSource();
    const Size sourceSize{source.image.width, source.image.height};
    if (source.image.isUntold) {
        return StatusFailure;
    }
    if (sourceSize.width == 0 || sourceSize.height == 0) {
        return StatusEmptySource;
    }
    Size size = FitIntoBox(sourceSize, maxWidth, maxHeight);

    // In this order: what is put back, and then deleted, goes from last to first.
    std::optional<PackedThumbnailRead> packed;
    ViewFramebuffer view;
    ColorTarget resolved;
    ColorTarget scaled;
    const SavedBindings saved;

    GLuint framebuffer = saved.DrawFramebuffer();
    GLenum readBuffer = DefaultReadBuffer(source.framebuffer);
    if (source.image.numViews > 0) {
        if (!view.Create(source.image, GL_COLOR_ATTACHMENT0)) {
            return StatusFailure;
        }
        framebuffer = view.Name();
    }
    GLenum error = GL_NO_ERROR;
    if (source.isMultisampled) {
        error = resolved.CopyFrom(framebuffer, readBuffer, sourceSize, ResolveLayout(source), sourceSize,
                                  GL_NEAREST);
        framebuffer = error == GL_NO_ERROR ? resolved.Framebuffer() : framebuffer;
    }
    if (error == GL_NO_ERROR) {
        const GLenum buffer = source.isMultisampled ? GL_COLOR_ATTACHMENT0 : readBuffer;
        error = scaled.CopyFrom(framebuffer, buffer, sourceSize, ThumbnailLayout(source), size, GL_LINEAR);
    }

    GLenum type = GL_UNSIGNED_BYTE;
    packed.emplace();
    if (sourceSize.width < 0 || sourceSize.height < 0) {
        return StatusFailure;
    }
    if (error == GL_NO_ERROR) {
        GL::BindFramebuffer(GL_READ_FRAMEBUFFER, scaled.Framebuffer());
        readBuffer = GL_COLOR_ATTACHMENT0;
    } else {
        // Samples and views of a framebuffer object cannot be read, only their copy. The window surface can.
        GL::BindFramebuffer(GL_READ_FRAMEBUFFER, source.framebuffer == 0 ? 0 : framebuffer);
        size = sourceSize;
        type = source.isFloat ? GL_FLOAT : type; // floats cannot be read as bytes
    }

    Picture picture(sink, size, type);
    if (!picture.HasMemory()) {
        return StatusFailure;
    }
    {
        const SelectedReadBuffer selected(readBuffer);
        if (picture.Read() != GL_NO_ERROR) {
            return StatusFailure;
        }
    }
    return picture.HandOver(fileName);
}

std::uint32_t ReadThumbnailDepth(ImageSink& sink, const std::string& fileName, std::int32_t maxWidth,
                                 std::int32_t maxHeight)
{
    return ReadThumbnailOf(Component::Depth, sink, fileName, maxWidth, maxHeight);
}

std::uint32_t ReadThumbnailStencil(ImageSink& sink, const std::string& fileName, std::int32_t maxWidth,
                                   std::int32_t maxHeight)
{
    return ReadThumbnailOf(Component::Stencil, sink, fileName, maxWidth, maxHeight);
}

} // namespace Util
