#pragma once

#include "Util/Compressor.h"

#include <zlib.h>

namespace Util {

/// Compresses into one zlib stream a block: RFC 1950 header, deflate data, Adler-32 of the raw bytes. Any
/// inflater reads it.
///
/// `Encode` takes blocks of 0 bytes and more. The internal buffer grows to `srcSize` + 512 + `srcSize` / 16
/// bytes, which must fit 32 bits, and again for a block that needs more, which those flushed after every few
/// bytes do.
///
/// Each `Decode` only writes `*dstSize`, and does not look at bytes behind the end of the stream:
/// - Without a capacity it is **true for a cut or damaged block too**, with the bytes that came out before
///   the damage (the low 32 bits of their number).
/// - The bounded form is true when the end of the stream was reached and its Adler-32 is right.
class UTIL_EXPORT LZ77Compressor : public Compressor
{
public:
    /// @param quality     chooses the zlib level, see `GetLZ77Quality`
    /// @param bufferSize  capacity of the internal buffer at the start, in bytes
    /// @param chunkSize   bytes of input and of output room that each call of zlib gets. While compressing,
    ///                    the stream is flushed (`Z_SYNC_FLUSH`) after each chunk but the last, which costs
    ///                    about 5 bytes a chunk. 2^31 and more stands for the rest of the block. With 0
    ///                    nothing can be done: every `Encode` and `Decode` is refused. A stream made with any
    ///                    chunk size is decoded with any other.
    LZ77Compressor(CompressorQuality quality, std::uint32_t bufferSize, std::uint32_t chunkSize);

    /// @return the zlib level: 0 (store only) for `QualityNone`, 1 for `QualityLow`, 9 for `QualityHigh`,
    ///         otherwise -1, which is zlib's default
    [[nodiscard]] int GetLZ77Quality() const;

private:
    enum class Demand
    {
        Anything,
        IntactBlock,
    };

    bool EncodeBlock(const std::uint8_t* src, std::uint32_t srcSize, std::uint32_t* dstSize) override;
    bool DecodeTrusted(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst, std::size_t room,
                       std::uint32_t* dstSize) override;
    bool DecodeBounded(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                       std::uint32_t capacity, std::uint32_t* decodedSize) override;

    [[nodiscard]] UTIL_INTERNAL std::uint32_t ChunkSize() const;
    UTIL_INTERNAL bool Deflate(const std::uint8_t* src, std::uint32_t srcSize);
    UTIL_INTERNAL int Inflate(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                              std::size_t capacity);
    UTIL_INTERNAL bool DecodeWithin(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                                    std::size_t capacity, std::uint32_t* decodedSize, Demand demand);

    std::uint32_t m_chunkSize;
    z_stream m_stream{}; ///< set up and closed within each call
};

} // namespace Util
