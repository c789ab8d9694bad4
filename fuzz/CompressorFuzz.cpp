// Input: codec and task, chunk size, capacity (2 bytes), block. The task is to decode the block with every
// form of Decode, or to encode it first.

#include "Core/Log.h"
#include "Require.h"
#include "Util/CompressorLZ4.h"
#include "Util/CompressorLZ77.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using Util::Compressor;
using Block = std::vector<std::uint8_t>;

constexpr std::size_t MostPerByte = 1100; // raw bytes that a byte of deflate data can stand for; LZ4: 255

struct Codec
{
    std::uint8_t bits;
    std::uint32_t chunkSize;

    [[nodiscard]] bool IsLZ4() const { return (bits & 1) != 0; }

    [[nodiscard]] std::unique_ptr<Compressor> Make(std::uint32_t bufferSize) const
    {
        const auto quality = static_cast<Compressor::CompressorQuality>(bits >> 2);
        if (IsLZ4()) {
            return std::make_unique<Util::LZ4Compressor>(quality, bufferSize);
        }
        return std::make_unique<Util::LZ77Compressor>(quality, bufferSize, chunkSize);
    }
};

/// Decodes with every form, into memory of exactly the size that each is told. Of an intact block, what is
/// decoded must be `raw`. @return how many decoded it
int DecodeEveryWay(const Codec& codec, const Block& block, bool intact, const Block& raw,
                   std::uint32_t capacity)
{
    const auto compressor = codec.Make(capacity);
    const auto srcSize = static_cast<std::uint32_t>(block.size());
    const auto rawSize = static_cast<std::uint32_t>(raw.size());
    const auto isRaw = [&](const std::uint8_t* bytes, std::uint32_t size) {
        return size == rawSize && std::equal(raw.begin(), raw.end(), bytes);
    };

    const auto bounded = std::make_unique<std::uint8_t[]>(capacity);
    std::uint32_t size = 0;
    const bool bounds = compressor->Decode(block.data(), srcSize, bounded.get(), capacity, &size);
    Require(!bounds || (intact && isRaw(bounded.get(), size)));

    std::uint8_t* dst = nullptr;
    size = rawSize;
    const bool inside = compressor->Decode(block.data(), srcSize, &dst, &size);
    Require(inside == (dst != nullptr) && (!inside || size <= capacity));
    Require(!inside || (intact ? isRaw(dst, size) : !codec.IsLZ4()));

    // The zlib form is true for any block, and takes what room there is.
    const std::size_t room = codec.IsLZ4() || intact ? rawSize : block.size() * MostPerByte;
    const auto unbounded = std::make_unique<std::uint8_t[]>(room);
    size = rawSize;
    const bool outside = compressor->Decode(block.data(), srcSize, unbounded.get(), &size);
    Require(!outside || (intact ? isRaw(unbounded.get(), size) : !codec.IsLZ4()));
    return int{bounds} + int{inside} + int{outside};
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
    if ((codec.bits & 2) != 0) {
        std::uint8_t* dst = nullptr;
        std::uint32_t encodedSize = 0;
        Require(compressor->Encode(input.data(), inputSize, &dst, &encodedSize));
        Require(DecodeEveryWay(codec, {dst, dst + encodedSize}, true, input, inputSize) == 3);
        return 0;
    }
    // What was in the memory before must not come out as decoded bytes.
    Block raw(input.size() * MostPerByte, 0xEE);
    std::uint32_t rawSize = 0;
    const bool intact = compressor->Decode(input.data(), inputSize, raw.data(),
                                           static_cast<std::uint32_t>(raw.size()), &rawSize);
    raw.resize(rawSize);
    const int decoded = DecodeEveryWay(codec, input, intact, raw, capacity);
    // LZ4 wants the last bytes of a block to be literals, and with room behind them does not notice that they
    // are not: of its blocks some are taken into a larger buffer alone.
    Require(codec.IsLZ4() || !intact || decoded == (rawSize <= capacity ? 3 : 1));
    return 0;
}
