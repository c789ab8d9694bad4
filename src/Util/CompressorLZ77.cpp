#include "Util/CompressorLZ77.h"

#include <algorithm>
#include <limits>

namespace Util {
namespace {

/// What deflate can need at most for input that is not flushed in between, with much to spare.
constexpr std::uint64_t OutputSize(std::uint32_t inputSize)
{
    return std::uint64_t{inputSize} + 512 + (inputSize >> 4);
}

/// A flush can end a stored block (RFC 1951, section 3.2.4) and adds an empty one: 5 bytes of header each.
constexpr std::uint64_t FlushSize = 10;

/// zlib declares its input as not const unless told otherwise, and only reads it.
Bytef* Input(const std::uint8_t* src)
{
    return const_cast<Bytef*>(src);
}

} // namespace

LZ77Compressor::LZ77Compressor(CompressorQuality quality, std::uint32_t bufferSize, std::uint32_t chunkSize)
    : Compressor(quality, bufferSize), m_chunkSize(chunkSize)
{}

int LZ77Compressor::GetLZ77Quality() const
{
    switch (m_quality) {
    case QualityNone:
        return Z_NO_COMPRESSION;
    case QualityLow:
        return Z_BEST_SPEED;
    case QualityHigh:
        return Z_BEST_COMPRESSION;
    default:
        return Z_DEFAULT_COMPRESSION;
    }
}

std::uint32_t LZ77Compressor::ChunkSize() const
{
    constexpr std::uint32_t limit = 1U << 31;
    return m_chunkSize < limit ? m_chunkSize : std::numeric_limits<std::uint32_t>::max();
}

bool LZ77Compressor::EncodeBlock(const std::uint8_t* src, std::uint32_t srcSize, std::uint32_t* dstSize)
{
    if (m_chunkSize == 0) {
        return RefuseArguments();
    }
    if (!Reserve(OutputSize(srcSize), 0)) {
        return false;
    }
    m_stream = {};
    if (const int code = deflateInit(&m_stream, GetLZ77Quality()); code != Z_OK) {
        return Fail("Compression", zError(code));
    }
    const bool encoded = Deflate(src, srcSize);
    deflateEnd(&m_stream);
    if (encoded) {
        *dstSize = static_cast<std::uint32_t>(m_stream.total_out);
    }
    return encoded;
}

/// Runs deflate over the whole block, from the start of the internal buffer on. @return false when the buffer
/// could not grow
bool LZ77Compressor::Deflate(const std::uint8_t* src, std::uint32_t srcSize)
{
    const std::uint32_t chunk = ChunkSize();
    std::uint32_t rest = srcSize;
    m_stream.next_in = Input(src);
    int code = Z_OK;
    while (code == Z_OK) {
        const auto used = static_cast<std::uint32_t>(m_stream.total_out);
        // Without room deflate would report an error, and the block would end here, cut.
        if (used == m_bufferSize &&
            !Reserve(used + OutputSize(rest) + FlushSize * (std::uint64_t{rest} / chunk + 1), used)) {
            return false;
        }
        m_stream.next_out = m_buffer + used;
        m_stream.avail_out = std::min(chunk, m_bufferSize - used);
        m_stream.avail_in = std::min(chunk, rest);
        code = deflate(&m_stream, chunk >= rest ? Z_FINISH : Z_SYNC_FLUSH);
        rest = srcSize - static_cast<std::uint32_t>(m_stream.total_in);
    }
    return true;
}

bool LZ77Compressor::DecodeTrusted(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                   std::size_t room, std::uint32_t* dstSize)
{
    return DecodeWithin(src, srcSize, dst, room, dstSize, Demand::Anything);
}

bool LZ77Compressor::DecodeBounded(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                   std::uint32_t capacity, std::uint32_t* decodedSize)
{
    return DecodeWithin(src, srcSize, dst, capacity, decodedSize, Demand::IntactBlock);
}

bool LZ77Compressor::DecodeWithin(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                  std::size_t capacity, std::uint32_t* decodedSize, Demand demand)
{
    if (m_chunkSize == 0) {
        return RefuseArguments();
    }
    const int code = Inflate(src, srcSize, dst, capacity);
    const int endCode = inflateEnd(&m_stream);
    if (code == Z_MEM_ERROR || endCode != Z_OK) {
        return Fail("Decompression", zError(code));
    }
    // Only want of room makes inflate leave input, and of a good block at least the checksum is left then.
    if (code == Z_BUF_ERROR && m_stream.total_in < srcSize) {
        return RefuseCapacity(capacity);
    }
    if (demand == Demand::IntactBlock && code != Z_STREAM_END) {
        return RefuseDamage(srcSize);
    }
    *decodedSize = static_cast<std::uint32_t>(m_stream.total_out);
    return true;
}

/// Runs inflate until it stops. @return the code with which it did, `Z_STREAM_END` for a whole block
int LZ77Compressor::Inflate(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                            std::size_t capacity)
{
    const std::size_t chunk = ChunkSize();
    m_stream = {};
    int code = inflateInit(&m_stream);
    m_stream.next_in = Input(src);
    m_stream.next_out = dst;
    while (code == Z_OK) {
        m_stream.avail_out = static_cast<uInt>(std::min<std::size_t>(chunk, capacity - m_stream.total_out));
        m_stream.avail_in = static_cast<uInt>(std::min<std::size_t>(chunk, srcSize - m_stream.total_in));
        code = inflate(&m_stream, Z_SYNC_FLUSH);
    }
    return code;
}

} // namespace Util
