// Input: capacity (2 bytes), what to do, then the block. Requires the forms of Decode to agree about it, or
// encodes it and decodes it again with each.

#include "Require.h"
#include "Util/CompressorLZ4.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using Util::Compressor;
using Util::LZ4Compressor;
using Block = std::vector<std::uint8_t>;

/// Decodes with every form, into memory of exactly the size that is told. @return how many took the block
///
/// A form that does must give `raw`. It need not: the codec wants the last bytes of a block to be literals,
/// and does not notice that they are not when there is room behind them.
int DecodeEveryWay(const Block& block, std::uint32_t capacity, std::uint32_t told, const Block& raw)
{
    const auto srcSize = static_cast<std::uint32_t>(block.size());
    LZ4Compressor compressor(Compressor::QualityLow, capacity);
    int taken = 0;
    const auto check = [&](bool decoded, const std::uint8_t* bytes, std::uint32_t size) {
        Require(!decoded || (size == raw.size() && std::equal(raw.begin(), raw.end(), bytes)));
        taken += decoded ? 1 : 0;
    };
    const auto bounded = std::make_unique<std::uint8_t[]>(capacity);
    std::uint32_t size = 0;
    const bool fits = compressor.Decode(block.data(), srcSize, bounded.get(), capacity, &size);
    check(fits, bounded.get(), size);

    std::uint8_t* dst = nullptr;
    const bool inside = compressor.Decode(block.data(), srcSize, &dst, &told);
    Require(inside == (dst != nullptr));
    check(inside, dst, told);

    const auto unbounded = std::make_unique<std::uint8_t[]>(told);
    const bool outside = compressor.Decode(block.data(), srcSize, unbounded.get(), &told);
    check(outside, unbounded.get(), told);
    return taken;
}

void Decode(const Block& block, std::uint32_t capacity)
{
    // More than a block can hold. What was there must not come out as decoded bytes.
    Block raw(256 * block.size() + 64, 0xEE);
    std::uint32_t rawSize = 0;
    LZ4Compressor compressor(Compressor::QualityLow, 0);
    const bool whole = compressor.Decode(block.data(), static_cast<std::uint32_t>(block.size()), raw.data(),
                                         static_cast<std::uint32_t>(raw.size()), &rawSize);
    raw.resize(rawSize);
    for (const std::uint32_t told : {rawSize, rawSize + 1}) {
        const int taken = DecodeEveryWay(block, capacity, told, raw);
        Require(whole || taken == 0);
    }
}

void RoundTrip(const Block& raw, std::uint32_t bufferSize)
{
    LZ4Compressor compressor(Compressor::QualityLow, bufferSize);
    std::uint8_t* dst = nullptr;
    std::uint32_t size = 0;
    const auto rawSize = static_cast<std::uint32_t>(raw.size());
    Require(compressor.Encode(raw.data(), rawSize, &dst, &size));
    Require(DecodeEveryWay({dst, dst + size}, rawSize, rawSize, raw) == 3);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    SilenceLog();
    if (size < 4) {
        return 0;
    }
    const Block block(data + 3, data + size);
    const std::uint32_t capacity = data[0] * 256U + data[1];
    if (data[2] < 128) {
        Decode(block, capacity);
    } else {
        RoundTrip(block, capacity);
    }
    return 0;
}
