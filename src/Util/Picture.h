#pragma once

#include "Util/CapturedImage.h"
#include "Util/GLCopy.h"
#include "Util/GLDispatch.h"
#include "Util/PixelBuffer.h"

#include <cstdint>
#include <string>

namespace Util {

/// One picture on its way from GL to a sink: the memory that it is read into, lent or the library's own.
///
/// Memory that has been used before shows nothing of what it held, whatever the driver does not fill.
class Picture
{
public:
    /// Gets the memory; see `HasMemory`.
    ///
    /// @param type  that goes with `GL_RGBA`: one that `GetPitch` knows
    Picture(ImageSink& sink, Size size, GLenum type);

    /// @return false where the byte count does not fit or there is no memory for it
    [[nodiscard]] bool HasMemory() const { return m_pPixels != nullptr; }

    [[nodiscard]] std::uint8_t* Pixels() { return m_pPixels; }

    /// Reads the read buffer of the framebuffer bound for reading, from its origin. What a smaller source
    /// does not have is zero, and so is everything when the driver refuses. Needs packed rows and quiet
    /// errors.
    ///
    /// @return `GL_NO_ERROR`, or what the driver raised
    GLenum Read();

    /// @return status of the sink
    std::uint32_t HandOver(const std::string& fileName);

private:
    void Clear();
    [[nodiscard]] std::uint8_t* LastPixel() { return m_pPixels + m_bytes - m_pitch; }

    ImageSink& m_sink;
    Size m_size;
    GLenum m_type;
    unsigned int m_pitch;
    std::size_t m_bytes = 0;
    std::uint8_t* m_pPixels = nullptr;
    PixelBuffer m_own; ///< null where the sink lends
};

} // namespace Util
