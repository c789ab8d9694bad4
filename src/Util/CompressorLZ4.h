#pragma once

#include "Util/Compressor.h"

namespace Util {

/// Compresses into one raw LZ4 block (LZ4 Block Format), with no frame around it and hence no size and no
/// checksum: whoever stores a block stores its raw size with it, and a checksum to notice damage.
///
/// The internal buffer grows to `LZ4_compressBound(srcSize)` bytes. Each `Decode` stays inside both buffers
/// whatever the block holds, and does not notice damage that keeps the structure of the block whole:
/// - Without a capacity, `*dstSize` is the exact raw size, less than 2^31, and is only read. True when the
///   whole block decoded to just as many bytes.
/// - The bounded form is true when the whole block decoded; compare `*decodedSize` with the raw size that was
///   stored, since the start of a block can be a block as well.
class UTIL_EXPORT LZ4Compressor : public Compressor
{
public:
    /// @param quality     anything but `QualityLow` is replaced by it, which is logged at level 3
    /// @param bufferSize  capacity of the internal buffer at the start, in bytes
    LZ4Compressor(CompressorQuality quality, std::uint32_t bufferSize);

    /// As in `Compressor`.
    ///
    /// @param srcSize  1 to 2^31 - 1. Above `LZ4_MAX_INPUT_SIZE` LZ4 cannot compress: false, with nothing
    ///                 logged
    bool Encode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t** dst,
                std::uint32_t* dstSize) override;

private:
    bool EncodeBlock(const std::uint8_t* src, std::uint32_t srcSize, std::uint32_t* dstSize) override;
    bool DecodeTrusted(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst, std::size_t room,
                       std::uint32_t* dstSize) override;
    bool DecodeBounded(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                       std::uint32_t capacity, std::uint32_t* decodedSize) override;
};

} // namespace Util
