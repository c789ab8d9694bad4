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
    : ImageSink(Util::PixelOrder::OfTheDriver), m_connection(connection), m_picture(picture),
      m_start(Now<std::chrono::steady_clock>())
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

/// Copies what is not in the memory yet.
bool PictureSink::Receive(const std::uint8_t* bytes, std::size_t size)
{
    SessionMemory& memory = m_connection.Memory();
    if (m_entry && bytes == memory.BytesOf(*m_entry).data()) {
        return true;
    }
    if (!Reserve(size)) {
        return false;
    }
    std::copy_n(bytes, size, memory.BytesOf(*m_entry).begin());
    return true;
}

void PictureSink::Commit(EntryKind kind, std::uint32_t width, std::uint32_t height)
{
    m_picture.width = width;
    m_picture.height = height;
    m_picture.readTime = Now<std::chrono::steady_clock>() - m_start;
    m_entry->kind = kind;
    m_entry->picture = m_picture;
    m_connection.Memory().Commit(*m_entry);
    m_entry = nullptr;
    m_hasTaken = true;
}

std::uint32_t PictureSink::Take(const Util::CapturedImage& image)
{
    const std::size_t pixels = std::size_t{image.width} * image.height;
    if (!Receive(image.pixels, pixels * Util::GetPitch(image.format, image.type))) {
        return 1;
    }
    m_entry->format = image.format;
    m_entry->type = image.type;
    m_entry->isBGRA = image.isBGRA ? 1 : 0;
    Commit(EntryKind::Image, image.width, image.height);
    return 0;
}

std::uint32_t PictureSink::Take(const Util::CapturedValues& values)
{
    const std::size_t pixels = std::size_t{values.width} * values.height;
    if (!Receive(values.values, pixels * values.GetPixelSize())) {
        return 1;
    }
    m_picture.samples = values.samples;
    if (values.internalFormat != 0 && !Util::IsUnsizedInternalFormat(values.internalFormat)) {
        m_picture.internalFormat = values.internalFormat; // that of the object itself
    }
    ValueLayout& layout = m_entry->values;
    layout.type = values.type;
    layout.isSrgb = values.isSrgb;
    layout.isExact = values.isExact;
    for (std::size_t i = 0; i < values.bits.size(); ++i) {
        layout.has[i] = values.bits[i] != 0;
    }
    Commit(EntryKind::Values, values.width, values.height);
    return 0;
}

} // namespace Framegrab
