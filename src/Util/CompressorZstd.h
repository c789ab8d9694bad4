#pragma once

#include "Util/Compressor.h"

struct ZSTD_CCtx_s;
struct ZSTD_DCtx_s;

namespace Util {

/// Compresses into one Zstandard frame a block (RFC 8878), which tells the raw size and carries a checksum
/// (the low 32 bits of XXH64). Any zstd tool reads it.
///
/// `Encode` takes blocks of 0 bytes and more. The internal buffer grows to `ZSTD_compressBound(srcSize)`
/// bytes, about `srcSize` + `srcSize` / 256, which must fit 32 bits.
///
/// Each `Decode` only writes `*dstSize`, and is true when the whole block is one intact frame: of RFC 8878,
/// not of an older format, without a dictionary and with nothing behind it. A frame made elsewhere may have
/// no checksum; then damage that keeps its structure whole is not noticed. A frame gets no memory but the
/// destination, whatever window it claims to need.
/// - Without a capacity, the raw size that the frame tells bounds what is written. A frame that does not tell
///   it, as those made of a pipe do not, is decoded in the internal buffer only.
/// - The bounded form takes either kind.
///
/// Beside the buffer the compressor keeps what zstd works with, from the first `Encode` and the first
/// `Decode` on: tables of 0.6 MiB (`QualityNone`, `QualityLow`), 3.5 MiB (`QualityMedium`) or 6.5 MiB
/// (`QualityHigh`) for blocks of 1 MiB and more, less for smaller ones; and 94 KiB for decoding. Once the
/// largest block has been seen, no call allocates anything; only after 128 blocks in a row that need less
/// than a third of the tables does zstd exchange them for smaller ones.
class UTIL_EXPORT ZstdCompressor : public Compressor
{
public:
    /// @param quality     chooses the zstd level, see `GetZstdQuality`
    /// @param bufferSize  capacity of the internal buffer at the start, in bytes
    ZstdCompressor(CompressorQuality quality, std::uint32_t bufferSize);
    ~ZstdCompressor() override;

    /// @return the zstd level: the lowest that there is (which does little more than to store) for
    ///         `QualityNone`, 1 for `QualityLow`, 7 for `QualityHigh`, otherwise 5. None is slower than
    ///         `LZ77Compressor` with the same quality; 6 and 8 would be, on text
    [[nodiscard]] int GetZstdQuality() const;

private:
    bool EncodeBlock(const std::uint8_t* src, std::uint32_t srcSize, std::uint32_t* dstSize) override;
    bool DecodeTrusted(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst, std::size_t room,
                       std::uint32_t* dstSize) override;
    bool DecodeBounded(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                       std::uint32_t capacity, std::uint32_t* decodedSize) override;

    UTIL_INTERNAL bool DecodeFrame(const std::uint8_t* src, std::uint32_t srcSize, std::uint64_t rawSize,
                                   std::uint8_t* dst, std::uint32_t capacity, std::uint32_t* decodedSize);

    ZSTD_CCtx_s* m_encoder = nullptr;
    ZSTD_DCtx_s* m_decoder = nullptr;
};

} // namespace Util
