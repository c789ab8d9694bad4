#include "capture/PictureSink.h"

#include "Util/GLUtils.h"

#include <algorithm>
#include <chrono>

namespace Framegrab {

namespace {

template <typename Clock>
std::int64_t Now()
{
    using std::chrono::nanoseconds;
    return std::chrono::duration_cast<nanoseconds>(Clock::now().time_since_epoch()).count();
}

} // namespace

PictureSink::PictureSink(Connection& connection, const Picture& picture)
    : m_connection(connection), m_picture(picture), m_start(Now<std::chrono::steady_clock>())
{
    m_picture.readAt = Now<std::chrono::system_clock>();
}

PictureSink::~PictureSink()
{
    if (m_entry) {
        m_connection.Memory().Free(*m_entry);
    }
}

bool PictureSink::Reserve(std::size_t size)
{
    if (m_entry) {
        m_connection.Memory().Free(*m_entry); // of a picture that was given up
    }
    m_entry = m_connection.ReservePixels(size);
    if (size > m_connection.Memory().ArenaSize()) {
        m_refusedSize = size;
    }
    return m_entry != nullptr;
}

std::uint8_t* PictureSink::Lend(std::size_t bytes)
{
    return Reserve(bytes) ? m_connection.Memory().BytesOf(*m_entry).data() : nullptr;
}

std::uint32_t PictureSink::Take(const Util::CapturedImage& image)
{
    SessionMemory& memory = m_connection.Memory();
    const std::size_t size =
        std::size_t{image.width} * image.height * Util::GetPitch(image.format, image.type);
    if (!m_entry || image.pixels != memory.BytesOf(*m_entry).data()) {
        if (!Reserve(size)) {
            return 1;
        }
        std::copy_n(image.pixels, size, memory.BytesOf(*m_entry).begin());
    }
    m_picture.width = image.width;
    m_picture.height = image.height;
    m_picture.readTime = Now<std::chrono::steady_clock>() - m_start;
    m_entry->kind = EntryKind::Image;
    m_entry->format = image.format;
    m_entry->type = image.type;
    m_entry->picture = m_picture;
    memory.Commit(*m_entry);
    m_entry = nullptr;
    m_hasTaken = true;
    return 0;
}

} // namespace Framegrab
