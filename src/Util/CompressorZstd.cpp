#include "Util/CompressorZstd.h"

#include "Util/Logging.h"

#include <algorithm>
#include <array>
#include <limits>
#include <zstd.h>
#include <zstd_errors.h>

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

/// Whether the block is one frame and nothing else. zstd would also decode several frames in a row, frames
/// that hold nothing (to be skipped), and the formats before RFC 8878, by code long out of use.
bool IsOneFrame(const std::uint8_t* src, std::uint32_t srcSize)
{
    constexpr std::array<std::uint8_t, 4> magic = {0x28, 0xB5, 0x2F, 0xFD}; // RFC 8878, section 3.1.1
    return srcSize > magic.size() && std::equal(magic.begin(), magic.end(), src) &&
           ZSTD_findFrameCompressedSize(src, srcSize) == srcSize;
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
    const unsigned long long rawSize = ZSTD_getFrameContentSize(src, srcSize);
    if (rawSize == ZSTD_CONTENTSIZE_UNKNOWN && room == SIZE_MAX) {
        UTIL_LOG(Core::Log::LevelError,
                 "Compressed block of %u bytes does not tell its raw size, bailing out.", srcSize);
        return false;
    }
    // zstd writes a few bytes behind the block where it is told that there is room.
    constexpr unsigned long long most = std::numeric_limits<std::uint32_t>::max();
    const auto capacity = static_cast<std::uint32_t>(std::min({most, rawSize, 0ULL + room}));
    return DecodeBounded(src, srcSize, dst, capacity, dstSize);
}

bool ZstdCompressor::DecodeBounded(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                   std::uint32_t capacity, std::uint32_t* decodedSize)
{
    if (!IsOneFrame(src, srcSize)) {
        return RefuseDamage(srcSize);
    }
    if (!m_decoder && !(m_decoder = ZSTD_createDCtx())) {
        return Fail("Decompression", NoMemory());
    }
    const std::size_t size = ZSTD_decompressDCtx(m_decoder, dst, capacity, src, srcSize);
    if (ZSTD_isError(size)) {
        return ZSTD_getErrorCode(size) == ZSTD_error_dstSize_tooSmall ? RefuseCapacity(capacity)
                                                                      : RefuseDamage(srcSize);
    }
    *decodedSize = static_cast<std::uint32_t>(size);
    return true;
}

} // namespace Util
