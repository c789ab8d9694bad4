#include "Util/Compressor.h"

#include "Util/Logging.h"

#include <algorithm>
#include <limits>
#include <new>

namespace Util {
namespace {

std::uint8_t* Allocate(std::uint32_t size)
{
    auto* buffer = new (std::nothrow) std::uint8_t[size];
    if (!buffer) {
        UTIL_LOG(Core::Log::LevelError, "Compression buffer of %u bytes could not be allocated.", size);
    }
    return buffer;
}

} // namespace

Compressor::Compressor(CompressorQuality quality, std::uint32_t bufferSize)
    : m_quality(quality), m_buffer(Allocate(bufferSize)), m_bufferSize(m_buffer ? bufferSize : 0)
{}

Compressor::~Compressor()
{
    delete[] m_buffer;
}

bool Compressor::Encode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t** dst,
                        std::uint32_t* dstSize)
{
    if (!src || !dst || !dstSize) {
        return RefuseArguments();
    }
    if (!AcceptsSource(src, m_buffer) || !EncodeBlock(src, srcSize, dstSize)) {
        return false;
    }
    *dst = m_buffer;
    return true;
}

bool Compressor::Decode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t** dst,
                        std::uint32_t* dstSize)
{
    if (!dst) {
        return RefuseArguments();
    }
    const bool decoded = Decode(src, srcSize, m_buffer, dstSize);
    *dst = decoded ? m_buffer : nullptr;
    return decoded;
}

bool Compressor::Decode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                        std::uint32_t* dstSize)
{
    return AcceptsBlock(src, srcSize, dst, dstSize) && DecodeTrusted(src, srcSize, dst, RoomAt(dst), dstSize);
}

bool Compressor::Decode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                        std::uint32_t capacity, std::uint32_t* decodedSize)
{
    const auto room = static_cast<std::uint32_t>(std::min<std::size_t>(capacity, RoomAt(dst)));
    return AcceptsBlock(src, srcSize, dst, decodedSize) &&
           DecodeBounded(src, srcSize, dst, room, decodedSize);
}

Compressor::CompressorQuality Compressor::GetQuality() const
{
    return m_quality;
}

bool Compressor::RefuseArguments()
{
    // Spelled as hosts match it.
    UTIL_LOG(Core::Log::LevelError, "Invald arguments, bailing out.");
    return false;
}

bool Compressor::RefuseDamage(std::uint32_t srcSize)
{
    UTIL_LOG(Core::Log::LevelError, "Compressed block of %u bytes is cut or damaged, bailing out.", srcSize);
    return false;
}

bool Compressor::RefuseCapacity(std::size_t capacity)
{
    UTIL_LOG(Core::Log::LevelError, "Decompressed block does not fit %zu bytes, bailing out.", capacity);
    return false;
}

bool Compressor::Fail(const char* operation, const char* reason)
{
    UTIL_LOG(Core::Log::LevelError, "%s failed: %s.", operation, reason);
    return false;
}

bool Compressor::AcceptsBlock(const std::uint8_t* src, std::uint32_t srcSize, const std::uint8_t* dst,
                              const std::uint32_t* dstSize) const
{
    if (!src || !dst || srcSize == 0 || !dstSize) {
        return RefuseArguments();
    }
    return AcceptsSource(src, dst);
}

/// Whether a block at `src` may be worked on with `dst` as destination; logs when not. It may not when it
/// starts where the internal buffer does, nor when it lies in the buffer that is written to.
bool Compressor::AcceptsSource(const std::uint8_t* src, const std::uint8_t* dst) const
{
    if (src != m_buffer && !(IsInBuffer(src) && IsInBuffer(dst))) {
        return true;
    }
    UTIL_LOG(Core::Log::LevelError, "Input buffer is the same as internal buffer, bailing out.");
    return false;
}

bool Compressor::IsInBuffer(const std::uint8_t* pointer) const
{
    // The start counts even when the capacity is 0: there is no room at it.
    return reinterpret_cast<std::uintptr_t>(pointer) - reinterpret_cast<std::uintptr_t>(m_buffer) <
           (m_bufferSize > 0 ? m_bufferSize : 1);
}

std::size_t Compressor::RoomAt(const std::uint8_t* dst) const
{
    return IsInBuffer(dst) ? static_cast<std::size_t>(m_buffer + m_bufferSize - dst) : SIZE_MAX;
}

bool Compressor::Reserve(std::uint64_t size, std::uint32_t used)
{
    if (size <= m_bufferSize) {
        return true;
    }
    if (size > std::numeric_limits<std::uint32_t>::max()) {
        return RefuseArguments();
    }
    const auto newSize = static_cast<std::uint32_t>(size);
    std::uint8_t* const grown = Allocate(newSize);
    if (!grown) {
        return false;
    }
    std::copy_n(m_buffer, used, grown);
    delete[] m_buffer;
    m_buffer = grown;
    m_bufferSize = newSize;
    UTIL_LOG(Core::Log::LevelNotice, "Compression buffer has been increased to %d bytes", newSize);
    return true;
}

} // namespace Util
