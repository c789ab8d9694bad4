#pragma once

#include "Util/Export.h"
#include "Util/PNGEncoding.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Util {

/// What one capture has read, and all that is needed to write it: on any thread, in any process.
struct CapturedImage
{
    std::string fileName; ///< path that the picture is meant for, without extension
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t format = 0; ///< `GL_RGBA`
    std::uint32_t type = 0;   ///< `GL_UNSIGNED_BYTE`, or `GL_FLOAT`
    bool isBGRA = false;      ///< bytes that come as B, G, R, A: only for sinks of `PixelOrder::OfTheDriver`

    /// As `glReadPixels` lays them out: bottom row first, rows of width x `GetPitch(format, type)` bytes
    /// without padding.
    const std::uint8_t* pixels = nullptr;

    // In force when the picture was read.
    bool opaque = false; ///< every alpha is to become 255: the host's `m_opaqueScreenshots`
    PNGEncoding encoding = PNGSmall;

    /// Notes the settings that are in force now.
    UTIL_EXPORT void NoteSettings();
};

/// In which order a sink takes the four bytes of a pixel.
enum class PixelOrder
{
    RGBA,

    /// B, G, R, A as well, where the driver names that order as its own for what is read
    /// (`GL_IMPLEMENTATION_COLOR_READ_FORMAT`; OpenGL ES 3.2, section 16.1.2), and errors can be reported.
    /// Window surfaces with alpha are often stored so, and are read several times as fast when the driver
    /// need not swap bytes.
    OfTheDriver,
};

/// Takes the pictures that are read back. Called on the thread that captures, between GL calls of the
/// library: makes no GL call that changes state, and throws nothing.
///
/// For each picture that can be read, `Lend` comes first, then `Take`, on the same thread. A picture that the
/// library gives up after `Lend` is not taken: what was lent is the sink's again when the next `Lend` comes,
/// or the capture returns.
class UTIL_EXPORT ImageSink
{
public:
    explicit ImageSink(PixelOrder order = PixelOrder::RGBA) : m_order(order) {}
    ImageSink(const ImageSink&) = delete;
    ImageSink& operator=(const ImageSink&) = delete;
    virtual ~ImageSink();

    /// Takes a picture.
    ///
    /// @param image  good until this returns; its pixels too, unless they are in memory that the sink has
    ///               lent
    /// @return 0 when it is taken; anything else is the status of the capture, and ends the walk over the
    ///         colour attachments of a framebuffer object
    virtual std::uint32_t Take(const CapturedImage& image) = 0;

    /// Lends memory for the picture that is about to be read, so that it need not be copied.
    ///
    /// @param bytes  size of the picture
    /// @return room for as many, of any content and alignment: what the driver does not fill becomes zero.
    ///         Null: the picture is read into memory of the library's own.
    virtual std::uint8_t* Lend(std::size_t bytes);

    [[nodiscard]] PixelOrder Order() const { return m_order; }

private:
    const PixelOrder m_order;
};

} // namespace Util
