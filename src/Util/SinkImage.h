#pragma once

#include "Util/CapturedImage.h"
#include "Util/GLCopy.h"
#include "Util/PixelBuffer.h"

#include <cstdint>
#include <string>

namespace Util {

/// An image on its way from GL to a sink.
class SinkImage
{
public:
    /// Gets the memory that it is read into; see `HasMemory`.
    ///
    /// @param type  that goes with `GL_RGBA`: one that `GetPitch` knows
    SinkImage(ImageSink& sink, Size size, GLenum type);

    /// @return false where the byte count does not fit or there is no memory for it
    [[nodiscard]] bool HasMemory() const { return !m_memory.Bytes().empty(); }

    [[nodiscard]] std::uint8_t* Pixels() const { return m_memory.Bytes().data(); }

    /// Reads it, see `ReadPixels`, in the order that the sink takes.
    ///
    /// @return `GL_NO_ERROR`, or what the driver raised
    GLenum Read();

    /// @return status of the sink
    std::uint32_t HandOver(const std::string& fileName);

private:
    ImageSink& m_sink;
    Size m_size;
    GLenum m_type;
    bool m_isBGRA = false;
    SinkMemory m_memory;
};

} // namespace Util
