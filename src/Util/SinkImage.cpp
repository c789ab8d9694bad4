#include "Util/SinkImage.h"

#include "Util/GLUtils.h"
#include "Util/PixelRead.h"
#include "Util/StatusCode.h"

#include <new>

namespace Util {

SinkImage::SinkImage(ImageSink& sink, Size size, GLenum type)
    : m_sink(sink), m_size(size), m_type(type),
      m_memory(sink, static_cast<std::uint32_t>(size.width), static_cast<std::uint32_t>(size.height),
               GetPitch(GL_RGBA, type))
{}

GLenum SinkImage::Read()
{
    const auto read = [this](GLenum format) {
        return ReadPixels(m_size, format, m_type, m_memory.Bytes(), GetPitch(GL_RGBA, m_type),
                          m_memory.IsZero());
    };
    m_isBGRA = m_type == GL_UNSIGNED_BYTE && m_sink.Order() == PixelOrder::OfTheDriver && IsOwnOrderBGRA() &&
               read(GL_BGRA_EXT) == GL_NO_ERROR;
    return m_isBGRA ? GLenum{GL_NO_ERROR} : read(GL_RGBA);
}

std::uint32_t SinkImage::HandOver(const std::string& fileName)
try {
    CapturedImage image{.fileName = fileName,
                        .width = static_cast<std::uint32_t>(m_size.width),
                        .height = static_cast<std::uint32_t>(m_size.height),
                        .format = GL_RGBA,
                        .type = m_type,
                        .isBGRA = m_isBGRA,
                        .pixels = Pixels()};
    image.NoteSettings();
    return m_sink.Take(image);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

} // namespace Util
