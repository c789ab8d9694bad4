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

Compressor::CompressorQuality Compressor::GetQuality() const
{
    return m_quality;
}

bool Compressor::RefuseArguments()
{
    UTIL_LOG(Core::Log::LevelError, "Invald arguments, bailing out.");
    return false;
}

bool Compressor::RefuseOwnBuffer()
{
    UTIL_LOG(Core::Log::LevelError, "Input buffer is the same as internal buffer, bailing out.");
    return false;
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
