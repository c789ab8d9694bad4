// Input: chunk size, capacity (2 bytes), what to do, then the block. Holds every form of Decode against
// zlib's own inflate in one go, or encodes the block and decodes it again.

#include "Require.h"
#include "Util/CompressorLZ77.h"

#include <zlib.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using Util::Compressor;
using Util::LZ77Compressor;
using Block = std::vector<std::uint8_t>;

struct Inflated
{
    Block bytes;
    bool whole = false;
};

Inflated Inflate(const Block& block)
{
    static Block room(8 << 20); // more than deflate can make of an input of libFuzzer's size
    z_stream stream{};
    Require(inflateInit(&stream) == Z_OK);
    stream.next_in = const_cast<Bytef*>(block.data());
    stream.avail_in = static_cast<uInt>(block.size());
    stream.next_out = room.data();
    stream.avail_out = static_cast<uInt>(room.size());
    const int code = inflate(&stream, Z_SYNC_FLUSH);
    Require(stream.avail_out > 0);
    inflateEnd(&stream);
    return {{room.data(), stream.next_out}, code == Z_STREAM_END};
}

bool StartsWith(const Block& whole, const std::uint8_t* start, std::uint32_t size)
{
    return size <= whole.size() && std::equal(start, start + size, whole.begin());
}

void DecodeEveryWay(const Block& block, std::uint32_t chunkSize, std::uint32_t capacity)
{
    const Inflated expected = Inflate(block);
    const auto srcSize = static_cast<std::uint32_t>(block.size());
    const bool fits = expected.bytes.size() <= capacity;
    LZ77Compressor compressor(Compressor::QualityLow, capacity, chunkSize);

    const auto bounded = std::make_unique<std::uint8_t[]>(capacity);
    std::uint32_t size = 0;
    Require(compressor.Decode(block.data(), srcSize, bounded.get(), capacity, &size) ==
            (expected.whole && fits));
    Require(StartsWith(expected.bytes, bounded.get(), size) && (size == 0 || size == expected.bytes.size()));

    std::uint8_t* dst = nullptr;
    size = 0;
    const bool inside = compressor.Decode(block.data(), srcSize, &dst, &size);
    Require(inside == (dst != nullptr) && (inside == fits || !expected.whole));
    Require(size <= capacity && StartsWith(expected.bytes, dst, size));

    const auto unbounded = std::make_unique<std::uint8_t[]>(expected.bytes.size());
    Require(compressor.Decode(block.data(), srcSize, unbounded.get(), &size));
    Require(size == expected.bytes.size() && StartsWith(expected.bytes, unbounded.get(), size));
}

void RoundTrip(const Block& raw, std::uint32_t chunkSize, std::uint32_t bufferSize, std::uint32_t quality)
{
    LZ77Compressor compressor(static_cast<Compressor::CompressorQuality>(quality), bufferSize, chunkSize);
    std::uint8_t* dst = nullptr;
    std::uint32_t size = 0;
    Require(compressor.Encode(raw.data(), static_cast<std::uint32_t>(raw.size()), &dst, &size));
    const Inflated decoded = Inflate({dst, dst + size});
    Require(decoded.whole && decoded.bytes == raw);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    SilenceLog();
    if (size < 5) {
        return 0;
    }
    const Block block(data + 4, data + size);
    const std::uint32_t chunkSize = data[0] < 200 ? data[0] + 1U : 1U << (data[0] % 32);
    const std::uint32_t capacity = data[1] * 256U + data[2];
    if (data[3] < 128) {
        DecodeEveryWay(block, chunkSize, capacity);
    } else {
        RoundTrip(block, chunkSize, capacity, data[3] % 5U);
    }
    return 0;
}
