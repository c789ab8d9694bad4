// Input: codec, task and quality, chunk size, capacity (2 bytes), block. The task is to decode the block with
// every form of Decode, to encode it first, or to damage a byte of what it is encoded to.

#include "Core/Log.h"
#include "Require.h"
#include "Util/CompressorLZ4.h"
#include "Util/CompressorLZ77.h"
#include "Util/CompressorZstd.h"
#include "support/GuardedBytes.h"

#include <zstd.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using TestSupport::GuardedBytes;
using Util::Compressor;
using Block = std::vector<std::uint8_t>;

constexpr std::size_t MostPerByte = 1100;     // raw bytes that a byte of deflate data can stand for; LZ4: 255
constexpr std::size_t MostOfAFrame = 1 << 17; // where zstd's 32,768 a byte would be too many

struct Codec
{
    std::uint8_t bits;
    std::uint32_t chunkSize;

    [[nodiscard]] bool IsLZ77() const { return (bits & 3) == 0; }
    [[nodiscard]] bool IsLZ4() const { return (bits & 3) == 1; }
    [[nodiscard]] bool IsZstd() const { return (bits & 2) != 0; }
    [[nodiscard]] bool Encodes() const { return (bits & 4) != 0; }
    [[nodiscard]] bool Damages() const { return (bits & 8) != 0; }

    [[nodiscard]] std::unique_ptr<Compressor> Make(std::uint32_t bufferSize) const
    {
        const auto quality = static_cast<Compressor::CompressorQuality>(bits >> 4);
        if (IsLZ4()) {
            return std::make_unique<Util::LZ4Compressor>(quality, bufferSize);
        }
        if (IsZstd()) {
            return std::make_unique<Util::ZstdCompressor>(quality, bufferSize);
        }
        return std::make_unique<Util::LZ77Compressor>(quality, bufferSize, chunkSize);
    }

    /// How much the form of Decode without a capacity may write, whatever the block holds.
    [[nodiscard]] std::size_t Room(const Block& block, std::size_t rawSize) const
    {
        if (!IsZstd()) {
            return IsLZ4() ? rawSize : block.size() * MostPerByte;
        }
        const unsigned long long told = ZSTD_getFrameContentSize(block.data(), block.size());
        return told < ZSTD_CONTENTSIZE_ERROR ? told : 0;
    }

    /// Whether the form of Decode without a capacity takes the block if it is intact.
    [[nodiscard]] bool TellsSize(const Block& block) const
    {
        return !IsZstd() || ZSTD_getFrameContentSize(block.data(), block.size()) != ZSTD_CONTENTSIZE_UNKNOWN;
    }
};

/// What zstd itself says of a block: whether it is one frame without a dictionary, and intact.
bool IsGoodFrame(const Block& block)
{
    constexpr std::uint8_t magic[] = {0x28, 0xB5, 0x2F, 0xFD}; // RFC 8878, section 3.1.1
    Block raw(MostOfAFrame);
    return block.size() > 4 && std::equal(std::begin(magic), std::end(magic), block.begin()) &&
           (block[4] & 3) == 0 && ZSTD_findFrameCompressedSize(block.data(), block.size()) == block.size() &&
           !ZSTD_isError(ZSTD_decompress(raw.data(), raw.size(), block.data(), block.size()));
}

/// Decodes with every form, into memory of exactly the size that each is told. Of an intact block, what is
/// decoded must be `raw`. @return how many decoded it
int DecodeEveryWay(const Codec& codec, const Block& block, bool intact, const Block& raw,
                   std::uint32_t capacity)
{
    const auto compressor = codec.Make(capacity);
    const GuardedBytes src(block);
    const auto srcSize = static_cast<std::uint32_t>(block.size());
    const auto rawSize = static_cast<std::uint32_t>(raw.size());
    const auto isRaw = [&](const std::uint8_t* bytes, std::uint32_t size) {
        return size == rawSize && std::equal(raw.begin(), raw.end(), bytes);
    };

    const GuardedBytes bounded(capacity);
    std::uint32_t size = 0;
    const bool bounds = compressor->Decode(src.data(), srcSize, bounded.data(), capacity, &size);
    Require(!bounds || (intact && isRaw(bounded.data(), size)));

    std::uint8_t* dst = nullptr;
    size = rawSize;
    const bool inside = compressor->Decode(src.data(), srcSize, &dst, &size);
    Require(inside == (dst != nullptr) && (!inside || size <= capacity));
    Require(!inside || (intact ? isRaw(dst, size) : codec.IsLZ77()));

    // The zlib form is true for any block, and takes what room there is.
    const std::size_t room = codec.Room(block, rawSize);
    if (room > MostOfAFrame && codec.IsZstd()) {
        return int{bounds} + int{inside};
    }
    const GuardedBytes unbounded(room);
    size = rawSize;
    const bool outside = compressor->Decode(src.data(), srcSize, unbounded.data(), &size);
    Require(!outside || (intact ? isRaw(unbounded.data(), size) : codec.IsLZ77()));
    return int{bounds} + int{inside} + int{outside};
}

/// What has a checksum is not decoded to anything else.
void RequireDamageNoticed(const Codec& codec, Block block, std::size_t place, const Block& raw)
{
    block[place % block.size()] ^= static_cast<std::uint8_t>(codec.chunkSize | 1);
    const GuardedBytes src(block);
    const GuardedBytes dst(raw.size());
    std::uint32_t size = 0;
    const bool decoded = codec.Make(0)->Decode(src.data(), static_cast<std::uint32_t>(block.size()),
                                               dst.data(), static_cast<std::uint32_t>(raw.size()), &size);
    Require(!decoded || codec.IsLZ4() ||
            (size == raw.size() && std::equal(raw.begin(), raw.end(), dst.data())));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Core::Log::m_ioPipeMask = 0; // a refused block is no finding
    if (size < 5) {
        return 0;
    }
    const Codec codec{data[0], data[1] < 200 ? data[1] + 1U : 1U << (data[1] % 32)};
    const std::uint32_t capacity = data[2] * 256U + data[3];
    const Block input(data + 4, data + size);
    const auto inputSize = static_cast<std::uint32_t>(input.size());

    const auto compressor = codec.Make(capacity);
    if (codec.Encodes() || codec.Damages()) {
        std::uint8_t* dst = nullptr;
        std::uint32_t encodedSize = 0;
        Require(compressor->Encode(input.data(), inputSize, &dst, &encodedSize));
        const Block block(dst, dst + encodedSize);
        if (codec.Damages()) {
            RequireDamageNoticed(codec, block, capacity, input);
        } else {
            Require(DecodeEveryWay(codec, block, true, input, inputSize) == 3);
        }
        return 0;
    }
    // What was in the memory before must not come out as decoded bytes.
    Block raw(codec.IsZstd() ? MostOfAFrame : input.size() * MostPerByte, 0xEE);
    std::uint32_t rawSize = 0;
    const bool intact = compressor->Decode(input.data(), inputSize, raw.data(),
                                           static_cast<std::uint32_t>(raw.size()), &rawSize);
    raw.resize(rawSize);
    Require(!codec.IsZstd() || intact == IsGoodFrame(input));
    const int decoded = DecodeEveryWay(codec, input, intact, raw, capacity);
    // LZ4 wants the last bytes of a block to be literals, and with room behind them does not notice that they
    // are not: of its blocks some are taken into a larger buffer alone.
    const int expected = (rawSize <= capacity ? 2 : 0) + int{codec.TellsSize(input)};
    Require(codec.IsLZ4() || !intact || decoded == expected);
    return 0;
}
