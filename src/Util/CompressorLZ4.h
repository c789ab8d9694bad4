#pragma once

#include "Util/Compressor.h"

namespace Util {

/// Compresses into one raw LZ4 block (LZ4 Block Format), with no frame around it and hence no size and no
/// checksum: whoever stores a block stores its raw size with it, and a checksum to notice damage.
class UTIL_EXPORT LZ4Compressor : public Compressor
{
public:
    /// @param quality     anything but `QualityLow` is replaced by it, which is logged at level 3
    /// @param bufferSize  capacity of the internal buffer at the start, in bytes
    LZ4Compressor(CompressorQuality quality, std::uint32_t bufferSize);

    using Compressor::Decode;

    /// As in `Compressor`. The internal buffer grows to `LZ4_compressBound(srcSize)` bytes.
    ///
    /// @param srcSize  1 to 2^31 - 1. Above `LZ4_MAX_INPUT_SIZE` LZ4 cannot compress: false, with nothing
    ///                 logged
    bool Encode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t** dst,
                std::uint32_t* dstSize) override;

    /// As in `Compressor`. Reads and writes inside both buffers whatever the block holds.
    ///
    /// @param dst      room for `*dstSize` bytes
    /// @param dstSize  in only: the exact raw size, less than 2^31
    /// @return true when the whole block decoded to exactly `*dstSize` bytes. Damage that keeps the structure
    ///         of the block whole is not noticed
    bool Decode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                std::uint32_t* dstSize) override;

    /// As in `Compressor`. True only when the whole block decoded; compare `*decodedSize` with the raw size
    /// that was stored, since the start of a block can be a block as well. Damage that keeps the structure of
    /// the block whole is not noticed.
    bool Decode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst, std::uint32_t capacity,
                std::uint32_t* decodedSize) override;
};

} // namespace Util
