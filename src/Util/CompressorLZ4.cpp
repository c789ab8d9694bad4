#include "Util/CompressorLZ4.h"

#include "Util/Logging.h"

#include <lz4.h>

#include <algorithm>
#include <limits>

namespace Util {
namespace {

/// LZ4 takes and returns sizes as int.
constexpr std::uint32_t MaxSize = std::numeric_limits<int>::max();

const char* Bytes(const std::uint8_t* bytes)
{
    return reinterpret_cast<const char*>(bytes);
}

char* Bytes(std::uint8_t* bytes)
{
    return reinterpret_cast<char*>(bytes);
}

/// @return the decoded size, or a negative value for a block that is damaged or needs more than `capacity`
int Decompress(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst, std::uint32_t capacity)
{
    if (srcSize > MaxSize) {
        return -1;
    }
    return LZ4_decompress_safe(Bytes(src), Bytes(dst), static_cast<int>(srcSize),
                               static_cast<int>(std::min(capacity, MaxSize)));
}

bool RefuseBlock(int result, std::uint32_t srcSize)
{
    UTIL_LOG(Core::Log::LevelError,
             "Compressed size read (%d) different from expected (%d), file may be corrupt.", result, srcSize);
    return false;
}

} // namespace

LZ4Compressor::LZ4Compressor(CompressorQuality quality, std::uint32_t bufferSize)
    : Compressor(QualityLow, bufferSize)
{
    if (quality != QualityLow) {
        UTIL_LOG(Core::Log::LevelNotice,
                 "Currently, LZ4 only provides one level of compression. Switching to low.");
    }
}

bool LZ4Compressor::Encode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t** dst,
                           std::uint32_t* dstSize)
{
    if (srcSize == 0 || srcSize > MaxSize) {
        // Spelled as hosts match it.
        UTIL_LOG(Core::Log::LevelError, "Invald arguments, LZ4 maximum raw data buffer size is %d", MaxSize);
        return false;
    }
    return Compressor::Encode(src, srcSize, dst, dstSize);
}

bool LZ4Compressor::EncodeBlock(const std::uint8_t* src, std::uint32_t srcSize, std::uint32_t* dstSize)
{
    const int rawSize = static_cast<int>(srcSize);
    const int bound = LZ4_compressBound(rawSize); // 0 above LZ4's own limit, and then nothing is compressed
    if (!Reserve(static_cast<std::uint32_t>(bound), 0)) {
        return false;
    }
    const int size = LZ4_compress_default(Bytes(src), Bytes(m_buffer), rawSize, bound);
    if (size <= 0) {
        return false;
    }
    *dstSize = static_cast<std::uint32_t>(size);
    return true;
}

bool LZ4Compressor::DecodeTrusted(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                  std::size_t room, std::uint32_t* dstSize)
{
    const std::uint32_t rawSize = *dstSize;
    const bool fits = rawSize <= MaxSize && rawSize <= room;
    const int result = fits ? Decompress(src, srcSize, dst, rawSize) : -1;
    return (fits && result == static_cast<int>(rawSize)) || RefuseBlock(result, srcSize);
}

bool LZ4Compressor::DecodeBounded(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                  std::uint32_t capacity, std::uint32_t* decodedSize)
{
    const int result = Decompress(src, srcSize, dst, capacity);
    if (result < 0) {
        return RefuseBlock(result, srcSize);
    }
    *decodedSize = static_cast<std::uint32_t>(result);
    return true;
}

} // namespace Util
