#include "Util/Picture.h"

#include "Util/GLState.h"
#include "Util/GLUtils.h"
#include "Util/StatusCode.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>

namespace Util {

namespace {

/// A pixel that no application is likely to draw, of any size that a pixel has.
constexpr std::array<std::uint8_t, 16> Mark{0x9D, 0x37, 0xE5, 0x6B, 0x9D, 0x37, 0xE5, 0x6B,
                                            0x9D, 0x37, 0xE5, 0x6B, 0x9D, 0x37, 0xE5, 0x6B};

} // namespace

Picture::Picture(ImageSink& sink, Size size, GLenum type)
    : m_sink(sink), m_size(size), m_type(type), m_pitch(GetPitch(GL_RGBA, type))
{
    const auto columns = static_cast<std::uint32_t>(size.width);
    const auto rows = static_cast<std::uint32_t>(size.height);
    constexpr auto Most = static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max());
    if (m_pitch == 0 || std::uint64_t{columns} * rows > Most / m_pitch) {
        return;
    }
    m_bytes = static_cast<std::size_t>(std::uint64_t{columns} * rows * m_pitch);
    m_pPixels = m_sink.Lend(m_bytes);
    if (!m_pPixels) {
        m_own = AllocatePixels(columns, rows, m_pitch);
        m_pPixels = m_own.get();
    }
}

GLenum Picture::Read()
{
    const auto read = [this] {
        GL::ReadPixels(0, 0, m_size.width, m_size.height, GL_RGBA, m_type, m_pPixels);
        return TakeError();
    };
    if (m_own) {
        return read(); // zero from the start
    }
    if (!CanReportErrors()) {
        Clear();
        return read();
    }
    // GL raises no error for pixels outside of the source and leaves them as they are. The last one is
    // outside whenever any is.
    std::copy_n(Mark.begin(), m_pitch, LastPixel());
    GLenum error = read();
    if (error != GL_NO_ERROR || std::equal(LastPixel(), LastPixel() + m_pitch, Mark.begin())) {
        Clear();
        error = error != GL_NO_ERROR ? error : read();
    }
    return error;
}

std::uint32_t Picture::HandOver(const std::string& fileName)
try {
    CapturedImage image{.fileName = fileName,
                        .width = static_cast<std::uint32_t>(m_size.width),
                        .height = static_cast<std::uint32_t>(m_size.height),
                        .format = GL_RGBA,
                        .type = m_type,
                        .pixels = m_pPixels};
    image.NoteSettings();
    return m_sink.Take(image);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

void Picture::Clear()
{
    std::memset(m_pPixels, 0, m_bytes);
}

} // namespace Util
