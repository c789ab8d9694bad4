#include "Util/CompressorZstd.h"

#include "Util/Logging.h"

#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <limits>

namespace Util {
namespace {

ZSTD_CCtx* MakeEncoder(int level)
{
    ZSTD_CCtx* const encoder = ZSTD_createCCtx();
    if (encoder) {
        ZSTD_CCtx_setParameter(encoder, ZSTD_c_compressionLevel, level);
        ZSTD_CCtx_setParameter(encoder, ZSTD_c_checksumFlag, 1);
    }
    return encoder;
}

const char* NoMemory()
{
    return ZSTD_getErrorString(ZSTD_error_memory_allocation);
}

std::uint64_t LittleEndian(const std::uint8_t* bytes, std::size_t count)
{
    std::uint64_t value = 0;
    while (count > 0) {
        value = value << 8 | bytes[--count];
    }
    return value;
}

/// Reads the headers of a block that must be one frame, without a dictionary, and nothing else (RFC 8878,
/// section 3.1.1). zstd's decoder would also take several frames in a row, frames to be skipped, and the
/// formats before RFC 8878, by code long out of use. Its own calls that tell this take 1/20 of the time that
/// a stored block of 4 KiB does.
///
/// @return the raw size that the frame tells, or `ZSTD_CONTENTSIZE_UNKNOWN`; `ZSTD_CONTENTSIZE_ERROR` for any
///         other block
std::uint64_t RawSize(const std::uint8_t* src, std::size_t srcSize)
{
    if (srcSize < 5 || LittleEndian(src, 4) != ZSTD_MAGICNUMBER) {
        return ZSTD_CONTENTSIZE_ERROR;
    }
    const unsigned descriptor = src[4];
    const bool hasWindow = (descriptor & 0x20) == 0;
    const bool hasChecksum = (descriptor & 4) != 0;
    const bool hasDictionary = (descriptor & 3) != 0;
    const unsigned widths[] = {hasWindow ? 0U : 1U, 2, 4, 8}; // of the raw size in bytes
    const unsigned width = widths[descriptor >> 6];
    std::size_t end = 5 + (hasWindow ? 1 : 0) + width;
    if (hasDictionary || end > srcSize) {
        return ZSTD_CONTENTSIZE_ERROR;
    }
    const std::uint64_t rawSize = LittleEndian(src + end - width, width) + (width == 2 ? 256 : 0);

    for (bool isLast = false; !isLast;) {
        if (srcSize - end < 3) {
            return ZSTD_CONTENTSIZE_ERROR;
        }
        const auto header = static_cast<std::uint32_t>(LittleEndian(src + end, 3));
        const bool isRun = (header >> 1 & 3) == 1;
        const std::size_t size = 3 + (isRun ? 1 : header >> 3);
        if (srcSize - end < size) {
            return ZSTD_CONTENTSIZE_ERROR;
        }
        end += size;
        isLast = (header & 1) != 0;
    }
    if (srcSize - end != (hasChecksum ? 4 : 0)) {
        return ZSTD_CONTENTSIZE_ERROR;
    }
    return width > 0 ? rawSize : ZSTD_CONTENTSIZE_UNKNOWN;
}

} // namespace

ZstdCompressor::ZstdCompressor(CompressorQuality quality, std::uint32_t bufferSize)
    : Compressor(quality, bufferSize)
{}

ZstdCompressor::~ZstdCompressor()
{
    ZSTD_freeCCtx(m_encoder);
    ZSTD_freeDCtx(m_decoder);
}

int ZstdCompressor::GetZstdQuality() const
{
    switch (m_quality) {
    case QualityNone:
        return ZSTD_minCLevel();
    case QualityLow:
        return 1;
    case QualityHigh:
        return 7;
    default:
        return 5;
    }
}

bool ZstdCompressor::EncodeBlock(const std::uint8_t* src, std::uint32_t srcSize, std::uint32_t* dstSize)
{
    if (!Reserve(ZSTD_compressBound(srcSize), 0)) {
        return false;
    }
    if (!m_encoder && !(m_encoder = MakeEncoder(GetZstdQuality()))) {
        return Fail("Compression", NoMemory());
    }
    const std::size_t size = ZSTD_compress2(m_encoder, m_buffer, m_bufferSize, src, srcSize);
    if (ZSTD_isError(size)) {
        return Fail("Compression", ZSTD_getErrorName(size));
    }
    *dstSize = static_cast<std::uint32_t>(size);
    return true;
}

bool ZstdCompressor::DecodeTrusted(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                   std::size_t room, std::uint32_t* dstSize)
{
    const std::uint64_t rawSize = RawSize(src, srcSize);
    if (rawSize == ZSTD_CONTENTSIZE_UNKNOWN && room == SIZE_MAX) {
        UTIL_LOG(Core::Log::LevelError,
                 "Compressed block of %u bytes does not tell its raw size, bailing out.", srcSize);
        return false;
    }
    // zstd writes a few bytes behind the block where it is told that there is room.
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    const auto capacity = static_cast<std::uint32_t>(std::min({most, rawSize, std::uint64_t{room}}));
    return DecodeFrame(src, srcSize, rawSize, dst, capacity, dstSize);
}

bool ZstdCompressor::DecodeBounded(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                   std::uint32_t capacity, std::uint32_t* decodedSize)
{
    return DecodeFrame(src, srcSize, RawSize(src, srcSize), dst, capacity, decodedSize);
}

bool ZstdCompressor::DecodeFrame(const std::uint8_t* src, std::uint32_t srcSize, std::uint64_t rawSize,
                                 std::uint8_t* dst, std::uint32_t capacity, std::uint32_t* decodedSize)
{
    if (rawSize == ZSTD_CONTENTSIZE_ERROR) {
        return RefuseDamage(srcSize);
    }
    if (rawSize != ZSTD_CONTENTSIZE_UNKNOWN && rawSize > capacity) {
        return RefuseCapacity(capacity);
    }
    if (!m_decoder && !(m_decoder = ZSTD_createDCtx())) {
        return Fail("Decompression", NoMemory());
    }
    const std::size_t size = ZSTD_decompressDCtx(m_decoder, dst, capacity, src, srcSize);
    if (ZSTD_isError(size)) {
        const bool lacksRoom = ZSTD_getErrorCode(size) == ZSTD_error_dstSize_tooSmall;
        return lacksRoom ? RefuseCapacity(capacity) : RefuseDamage(srcSize);
    }
    *decodedSize = static_cast<std::uint32_t>(size);
    return true;
}

} // namespace Util
