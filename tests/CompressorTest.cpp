#include "Util/CompressorLZ4.h"
#include "Util/CompressorLZ77.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lz4.h>
#include <zlib.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using TestSupport::ClearLog;
using TestSupport::LogEntries;
using TestSupport::LogTexts;
using Util::Compressor;
using Util::LZ4Compressor;
using Util::LZ77Compressor;
using Block = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

constexpr const char* InvalidArguments = "Invald arguments, bailing out.";
constexpr const char* OwnBuffer = "Input buffer is the same as internal buffer, bailing out.";

std::uint32_t Size(const Block& block)
{
    return static_cast<std::uint32_t>(block.size());
}

/// Bytes that no codec makes smaller.
Block Noise(std::size_t size)
{
    std::minstd_rand random(static_cast<unsigned>(size) + 1);
    Block block(size);
    std::generate(block.begin(), block.end(), [&] { return static_cast<std::uint8_t>(random() >> 8); });
    return block;
}

/// Lines of a call trace.
Block Trace(std::size_t size)
{
    Block block;
    for (unsigned line = 0; block.size() < size; ++line) {
        const std::string call = "glDrawElements(GL_TRIANGLES, " + std::to_string(line * 7919 % 1000) + ")\n";
        block.insert(block.end(), call.begin(), call.end());
    }
    block.resize(size);
    return block;
}

struct Outcome
{
    bool done = false;
    Block bytes = {};
};

Outcome Encode(Compressor& compressor, const Block& raw)
{
    const Block some(1);
    std::uint8_t* dst = nullptr;
    std::uint32_t size = 0;
    const bool done = compressor.Encode(raw.empty() ? some.data() : raw.data(), Size(raw), &dst, &size);
    return {done, {dst, dst + size}};
}

Outcome DecodeInside(Compressor& compressor, const Block& src, std::size_t rawSize)
{
    std::uint8_t other = 0;
    std::uint8_t* dst = &other;
    auto size = static_cast<std::uint32_t>(rawSize);
    const bool done = compressor.Decode(src.data(), Size(src), &dst, &size);
    EXPECT_EQ(dst != nullptr, done);
    return {done, done ? Block(dst, dst + size) : Block()};
}

Outcome DecodeUnbounded(Compressor& compressor, const Block& src, std::size_t rawSize, std::size_t room)
{
    Block raw(std::max<std::size_t>(room, 1));
    auto size = static_cast<std::uint32_t>(rawSize);
    const bool done = compressor.Decode(src.data(), Size(src), raw.data(), &size);
    raw.resize(done ? size : 0);
    return {done, raw};
}

/// Into memory of exactly that capacity, for a sanitizer to see what goes beyond.
Outcome DecodeBounded(Compressor& compressor, const Block& src, std::size_t capacity)
{
    const auto raw = std::make_unique<std::uint8_t[]>(capacity);
    std::uint32_t size = 0;
    const bool done =
        compressor.Decode(src.data(), Size(src), raw.get(), static_cast<std::uint32_t>(capacity), &size);
    EXPECT_TRUE(done || size == 0);
    return {done, {raw.get(), raw.get() + size}};
}

template <std::uint32_t chunkSize>
std::unique_ptr<Compressor> MakeLZ77(std::uint32_t bufferSize)
{
    return std::make_unique<LZ77Compressor>(Compressor::QualityMedium, bufferSize, chunkSize);
}

std::unique_ptr<Compressor> MakeLZ4(std::uint32_t bufferSize)
{
    return std::make_unique<LZ4Compressor>(Compressor::QualityLow, bufferSize);
}

struct Codec
{
    const char* name;
    std::unique_ptr<Compressor> (*make)(std::uint32_t bufferSize);
    bool hasChecksum;
    std::size_t
        mostPerByte; ///< raw bytes that a byte of a damaged block can stand for; 0: bounded by the raw size

    [[nodiscard]] Block Encoded(const Block& raw) const { return Encode(*make(0), raw).bytes; }
};

class EachCompressor : public testing::TestWithParam<Codec>
{};

INSTANTIATE_TEST_SUITE_P(Compressor, EachCompressor,
                         testing::Values(Codec{"LZ77", MakeLZ77<64>, true, 1100},
                                         Codec{"LZ77ByteByByte", MakeLZ77<1>, true, 1100},
                                         Codec{"LZ4", MakeLZ4, false, 0}),
                         [](const auto& codec) { return codec.param.name; });

TEST_P(EachCompressor, RefusesWhatItCannotWorkWith)
{
    const auto compressor = GetParam().make(64);
    Compressor& c = *compressor;
    const Block raw = Trace(20);
    const Block block = GetParam().Encoded(raw);
    const std::uint8_t* const src = block.data();
    const std::uint32_t srcSize = Size(block);
    Block room(raw.size());
    std::uint8_t* const out = room.data();
    std::uint8_t** const nowhere = nullptr;
    std::uint8_t* own = nullptr;
    std::uint32_t size = 0;
    ASSERT_TRUE(c.Encode(raw.data(), Size(raw), &own, &size));
    std::uint8_t* dst = nullptr;

    struct Case
    {
        const char* name;
        std::function<bool()> call;
        const char* message;
        bool clearsPointer = false;
    };
    const Case cases[] = {
        {"encode null", [&] { return c.Encode(nullptr, 20, &dst, &size); }, InvalidArguments},
        {"encode to null", [&] { return c.Encode(raw.data(), 20, nullptr, &size); }, InvalidArguments},
        {"encode, size null", [&] { return c.Encode(raw.data(), 20, &dst, nullptr); }, InvalidArguments},
        {"encode own", [&] { return c.Encode(own, 20, &dst, &size); }, OwnBuffer},
        {"encode within own", [&] { return c.Encode(own + 1, 20, &dst, &size); }, OwnBuffer},
        {"inside, null", [&] { return c.Decode(nullptr, srcSize, &dst, &size); }, InvalidArguments, true},
        {"inside, to null", [&] { return c.Decode(src, srcSize, nowhere, &size); }, InvalidArguments},
        {"inside, own", [&] { return c.Decode(own, srcSize, &dst, &size); }, OwnBuffer, true},
        {"inside, within own", [&] { return c.Decode(own + 1, srcSize, &dst, &size); }, OwnBuffer, true},
        {"unbounded, null", [&] { return c.Decode(nullptr, srcSize, out, &size); }, InvalidArguments},
        {"unbounded, empty", [&] { return c.Decode(src, 0, out, &size); }, InvalidArguments},
        {"unbounded, size null", [&] { return c.Decode(src, srcSize, out, nullptr); }, InvalidArguments},
        {"unbounded, own", [&] { return c.Decode(own, srcSize, out, &size); }, OwnBuffer},
        {"bounded, null", [&] { return c.Decode(nullptr, srcSize, out, 20, &size); }, InvalidArguments},
        {"bounded, empty", [&] { return c.Decode(src, 0, out, 20, &size); }, InvalidArguments},
        {"bounded, to null", [&] { return c.Decode(src, srcSize, nullptr, 20, &size); }, InvalidArguments},
        {"bounded, size null", [&] { return c.Decode(src, srcSize, out, 20, nullptr); }, InvalidArguments},
        {"bounded, own", [&] { return c.Decode(own, srcSize, out, 20, &size); }, OwnBuffer},
    };
    for (const Case& refused : cases) {
        SCOPED_TRACE(refused.name);
        ClearLog();
        dst = out;
        size = 77;
        EXPECT_FALSE(refused.call());
        ASSERT_THAT(LogTexts(), ElementsAre(refused.message));
        EXPECT_EQ(LogEntries()[0].level, 1);
        EXPECT_EQ(LogEntries()[0].zone, 5);
        EXPECT_TRUE(LogEntries()[0].decorated);
        EXPECT_EQ(size, 77);
        EXPECT_EQ(dst, refused.clearsPointer ? nullptr : out);
        EXPECT_EQ(Block(own, own + srcSize), block);
    }
}

TEST_P(EachCompressor, StaysInsideTheRoomItHas)
{
    for (const Block& raw : {Noise(2), Trace(300), Noise(70'000)}) {
        const Block block = GetParam().Encoded(raw);
        for (const std::size_t capacity : {raw.size() + 1, raw.size(), raw.size() - 1, raw.size() / 2}) {
            SCOPED_TRACE(testing::Message() << raw.size() << " bytes into " << capacity);
            const bool fits = capacity >= raw.size();
            const auto compressor = GetParam().make(static_cast<std::uint32_t>(capacity));
            ClearLog();
            EXPECT_EQ(DecodeBounded(*compressor, block, capacity).bytes, fits ? raw : Block());
            EXPECT_EQ(DecodeInside(*compressor, block, raw.size()).bytes, fits ? raw : Block());
            EXPECT_EQ(LogTexts().size(), fits ? 0 : 2);
            EXPECT_EQ(DecodeUnbounded(*compressor, block, raw.size(), raw.size()).bytes, raw);
        }
        // The end of the internal buffer bounds what is written into its middle, whatever room is claimed
        // there.
        const auto compressor = GetParam().make(Size(raw));
        std::uint8_t* own = nullptr;
        std::uint32_t size = Size(raw);
        ASSERT_TRUE(compressor->Decode(block.data(), Size(block), &own, &size));
        EXPECT_FALSE(compressor->Decode(block.data(), Size(block), own + 1, &size));
        EXPECT_FALSE(compressor->Decode(block.data(), Size(block), own + 1, Size(raw), &size));
    }
}

/// Through every form, each with memory of exactly the size that it was told.
void ExpectNoHarm(const Codec& codec, const Block& raw, const Block& bad)
{
    const auto compressor = codec.make(Size(raw));
    const Outcome bounded = DecodeBounded(*compressor, bad, raw.size());
    // Not every bit of a stream matters: those that pad it to a byte before a stored block do not.
    EXPECT_TRUE(!bounded.done || !codec.hasChecksum || bounded.bytes == raw);
    EXPECT_LE(DecodeInside(*compressor, bad, raw.size()).bytes.size(), raw.size());
    DecodeUnbounded(*compressor, bad, raw.size(), std::max(raw.size(), bad.size() * codec.mostPerByte));
}

TEST_P(EachCompressor, SurvivesEveryFlippedBitAndEveryCut)
{
    for (const Block& raw : {Trace(150), Noise(40)}) {
        const Block block = GetParam().Encoded(raw);
        for (std::size_t bit = 0; bit < block.size() * 8; ++bit) {
            SCOPED_TRACE(bit);
            Block flipped = block;
            flipped[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
            ExpectNoHarm(GetParam(), raw, flipped);
        }
        for (Block cut(block.begin(), block.end() - 1); !cut.empty();
             cut = Block(cut.begin(), cut.end() - 1)) {
            SCOPED_TRACE(cut.size());
            ExpectNoHarm(GetParam(), raw, cut);
            EXPECT_NE(DecodeBounded(*GetParam().make(0), cut, raw.size()).bytes, raw);
        }
    }
}

TEST_P(EachCompressor, IsUsableAfterAnyAllocationFails)
{
    const Block raw = Noise(2000);
    const Block block = GetParam().Encoded(raw);
    bool failed = true;
    for (std::uint32_t attempt = 0; failed || attempt % 2 == 1; ++attempt) {
        SCOPED_TRACE(attempt);
        std::unique_ptr<Compressor> compressor;
        {
            const TestSupport::FailingAllocation failing(attempt / 2);
            compressor = GetParam().make(attempt % 2 == 0 ? 10 : 5000);
            ClearLog();
            const bool encoded = Encode(*compressor, raw).done;
            const bool decoded = DecodeUnbounded(*compressor, block, raw.size(), raw.size()).done;
            failed = failing.HasFailed();
            EXPECT_EQ(encoded && decoded, !failed);
        }
        EXPECT_EQ(std::ranges::count(LogEntries(), Core::Log::LevelError, &TestSupport::LogEntry::level) > 0,
                  failed);
        EXPECT_EQ(Encode(*compressor, raw).bytes, block);
        EXPECT_EQ(DecodeInside(*compressor, block, raw.size()).bytes, raw);
    }
}

TEST_P(EachCompressor, WorksBesideAnotherOnAnotherThread)
{
    const auto work = [](const Codec& codec, const Block& raw) {
        const auto encoder = codec.make(0);
        const auto decoder = codec.make(Size(raw));
        for (int round = 0; round < 20; ++round) {
            EXPECT_EQ(DecodeInside(*decoder, Encode(*encoder, raw).bytes, raw.size()).bytes, raw);
        }
    };
    std::thread other(work, GetParam(), Trace(3000));
    work(GetParam(), Noise(3000));
    other.join();
}

TEST(Compressor, BufferGrowsOnceToWhatTheBlockNeeds)
{
    struct Case
    {
        std::unique_ptr<Compressor> (*make)(std::uint32_t);
        const char* first;
        const char* second;
    };
    for (const auto& [make, first, second] :
         {Case{MakeLZ77<4096>, "1574", "1583"}, Case{MakeLZ4, "1019", "1027"}}) {
        ClearLog();
        const auto compressor = make(0);
        for (const std::size_t size : {1000U, 500U, 1000U, 1008U, 1000U}) {
            EXPECT_TRUE(Encode(*compressor, Noise(size)).done);
        }
        const std::string message = "Compression buffer has been increased to ";
        EXPECT_THAT(LogTexts(), ElementsAre(message + first + " bytes", message + second + " bytes"));
        EXPECT_EQ(LogEntries()[0].level, 3);
    }
}

TEST(LZ77Compressor, QualityIsTheZlibLevel)
{
    const Block raw = Trace(30'000);
    for (const auto& [quality, level] : {std::pair{0U, 0}, {1U, 1}, {2U, -1}, {3U, 9}, {77U, -1}}) {
        SCOPED_TRACE(quality);
        LZ77Compressor compressor(static_cast<Compressor::CompressorQuality>(quality), 0, 30'000);
        EXPECT_EQ(compressor.GetLZ77Quality(), level);
        EXPECT_EQ(compressor.GetQuality(), quality);
        // A chunk that holds the whole block leaves no flush in it.
        Block expected(compressBound(raw.size()));
        uLongf size = expected.size();
        ASSERT_EQ(compress2(expected.data(), &size, raw.data(), raw.size(), level), Z_OK);
        expected.resize(size);
        EXPECT_EQ(Encode(compressor, raw).bytes, expected);
    }
}

TEST(LZ77Compressor, FlushesAfterEveryChunkButTheLast)
{
    const Block flush = {0, 0, 0xFF, 0xFF}; // an empty stored block; RFC 1951, section 3.2.4
    for (const auto& [chunkSize, flushes] :
         {std::pair{1000U, 9}, {1001U, 9}, {5000U, 1}, {9999U, 1}, {10'000U, 0}}) {
        SCOPED_TRACE(chunkSize);
        LZ77Compressor compressor(Compressor::QualityMedium, 0, chunkSize);
        const Block block = Encode(compressor, Trace(10'000)).bytes;
        int found = 0;
        for (auto at = block.begin();
             (at = std::search(at, block.end(), flush.begin(), flush.end())) != block.end(); ++at) {
            ++found;
        }
        EXPECT_EQ(found, flushes);
    }
}

/// With chunks of a few bytes each flush adds more than the chunk's share of the margin.
TEST(LZ77Compressor, AnyChunkSizeDecodesWithAnyOther)
{
    for (const Block& raw : {Block{}, Block{7}, Noise(19), Trace(777), Noise(9000)}) {
        for (std::uint32_t chunk = 1; chunk <= 20; ++chunk) {
            SCOPED_TRACE(testing::Message() << raw.size() << " bytes in chunks of " << chunk);
            LZ77Compressor encoder(static_cast<Compressor::CompressorQuality>(chunk % 4), 0, chunk);
            ClearLog();
            const Block block = Encode(encoder, raw).bytes;
            EXPECT_LE(LogTexts().size(), 2) << "one growth, and one more where that was not enough";
            for (std::uint32_t other = 1; other <= 20; ++other) {
                LZ77Compressor decoder(Compressor::QualityLow, Size(raw), other);
                EXPECT_EQ(DecodeInside(decoder, block, 0).bytes, raw) << other;
                EXPECT_TRUE(DecodeBounded(decoder, block, raw.size()).done) << other;
            }
        }
    }
}

TEST(LZ77Compressor, TakesEveryChunkSizeButNone)
{
    const Block raw = Trace(100'000);
    LZ77Compressor whole(Compressor::QualityLow, 0, Size(raw));
    const Block block = Encode(whole, raw).bytes;
    for (const std::uint32_t chunkSize : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(chunkSize);
        LZ77Compressor compressor(Compressor::QualityLow, Size(raw), chunkSize);
        EXPECT_EQ(Encode(compressor, raw).bytes, block);
        EXPECT_EQ(DecodeInside(compressor, block, 0).bytes, raw);
    }
    LZ77Compressor none(Compressor::QualityLow, Size(raw), 0);
    ClearLog();
    EXPECT_FALSE(Encode(none, raw).done);
    EXPECT_FALSE(DecodeInside(none, block, 0).done);
    EXPECT_FALSE(DecodeBounded(none, block, raw.size()).done);
    EXPECT_EQ(LogTexts(), Texts(3, InvalidArguments));
}

/// The form without a capacity says nothing of damage; the one with it does, and says what was wrong.
TEST(LZ77Compressor, TellsCutDamagedAndLargeBlocks)
{
    const Block raw = Trace(1000);
    LZ77Compressor compressor(Compressor::QualityHigh, 2000, 1 << 16);
    const Block good = Encode(compressor, raw).bytes;
    const auto changed = [&good](const std::function<void(Block&)>& change) {
        Block block = good;
        change(block);
        return block;
    };
    struct Case
    {
        const char* name;
        Block block;
        std::size_t decodedSize;
        bool intact;
    };
    const Case cases[] = {
        {"good", good, 1000, true},
        {"followed by more", changed([](Block& block) { block.push_back(0); }), 1000, true},
        {"checksum cut", changed([](Block& block) { block.pop_back(); }), 1000, false},
        {"checksum wrong", changed([](Block& block) { block.back() ^= 1; }), 1000, false},
        {"not a zlib stream", changed([](Block& block) { block[0] = 0; }), 0, false},
    };
    for (const Case& decoded : cases) {
        SCOPED_TRACE(decoded.name);
        ClearLog();
        const Outcome unbounded = DecodeUnbounded(compressor, decoded.block, 0, raw.size());
        EXPECT_TRUE(unbounded.done);
        EXPECT_EQ(unbounded.bytes.size(), decoded.decodedSize);
        EXPECT_EQ(DecodeInside(compressor, decoded.block, 0).bytes, unbounded.bytes);
        EXPECT_EQ(DecodeBounded(compressor, decoded.block, raw.size()).done, decoded.intact);
        const std::string message = "Compressed block of " + std::to_string(decoded.block.size()) +
                                    " bytes is cut or damaged, bailing out.";
        EXPECT_EQ(LogTexts(), decoded.intact ? Texts() : Texts{message});
    }
    ClearLog();
    EXPECT_FALSE(DecodeBounded(compressor, good, 999).done);
    EXPECT_THAT(LogTexts(), ElementsAre("Decompressed block does not fit 999 bytes, bailing out."));
}

TEST(LZ4Compressor, HasOneQuality)
{
    for (const std::uint32_t quality : {0U, 1U, 2U, 3U, 99U}) {
        SCOPED_TRACE(quality);
        ClearLog();
        const LZ4Compressor compressor(static_cast<Compressor::CompressorQuality>(quality), 16);
        EXPECT_EQ(compressor.GetQuality(), Compressor::QualityLow);
        EXPECT_EQ(LogTexts(),
                  quality == Compressor::QualityLow
                      ? Texts()
                      : Texts{"Currently, LZ4 only provides one level of compression. Switching to low."});
    }
}

/// Refused by their size alone, before anything is read or allocated.
TEST(Compressor, RefusesRawBlocksThatAreTooLarge)
{
    const std::string limit = "Invald arguments, LZ4 maximum raw data buffer size is 2147483647";
    const Block some(10);
    struct Case
    {
        const char* name;
        std::unique_ptr<Compressor> (*make)(std::uint32_t);
        const std::uint8_t* src;
        std::uint32_t srcSize;
        Texts log;
    };
    const Case cases[] = {
        {"LZ77, buffer of 2^32", MakeLZ77<100>, some.data(), 4'042'321'680U, {InvalidArguments}},
        {"LZ77, largest", MakeLZ77<100>, some.data(), 0xFFFFFFFFU, {InvalidArguments}},
        {"LZ4, empty", MakeLZ4, some.data(), 0, {limit}},
        {"LZ4, empty and null", MakeLZ4, nullptr, 0, {limit}},
        {"LZ4, 2^31", MakeLZ4, some.data(), 0x80000000U, {limit}},
        {"LZ4, above the codec's own limit", MakeLZ4, some.data(), LZ4_MAX_INPUT_SIZE + 1, {}},
        {"LZ4, 2^31 - 1", MakeLZ4, some.data(), 0x7FFFFFFFU, {}},
    };
    for (const Case& refused : cases) {
        SCOPED_TRACE(refused.name);
        ClearLog();
        std::uint8_t* dst = nullptr;
        std::uint32_t size = 77;
        EXPECT_FALSE(refused.make(0)->Encode(refused.src, refused.srcSize, &dst, &size));
        EXPECT_EQ(LogTexts(), refused.log);
        EXPECT_EQ(dst, nullptr);
        EXPECT_EQ(size, 77);
    }
}

TEST(LZ4Compressor, TakesOnlyTheExactRawSize)
{
    LZ4Compressor compressor(Compressor::QualityLow, 1000);
    const Block block = Encode(compressor, Trace(1000)).bytes;
    const std::string expected =
        " different from expected (" + std::to_string(block.size()) + "), file may be corrupt.";
    for (const std::uint32_t rawSize : {0U, 1U, 999U, 1001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(rawSize);
        ClearLog();
        EXPECT_FALSE(DecodeInside(compressor, block, rawSize).done);
        EXPECT_THAT(LogTexts(), ElementsAre(EndsWith(expected)));
    }
    // No error code of the codec is mistaken for a size.
    for (std::uint32_t rawSize = 0xFFFFFFF0U; rawSize > 0; ++rawSize) {
        EXPECT_FALSE(DecodeUnbounded(compressor, {0x10}, rawSize, 1).done);
    }
    ClearLog();
    EXPECT_FALSE(DecodeUnbounded(compressor, block, 1001, 1001).done);
    EXPECT_THAT(LogTexts(), ElementsAre("Compressed size read (1000)" + expected)); // what came out
}

TEST(LZ4Compressor, TakesSizesThatAnIntCannotHold)
{
    LZ4Compressor compressor(Compressor::QualityLow, 0);
    const Block empty = {0}; // one token: no literal, no match
    EXPECT_TRUE(DecodeInside(compressor, empty, 0).done);
    Block room(1);
    for (const std::uint32_t capacity : {0U, 0xFFFFFFFFU}) {
        std::uint32_t size = 77;
        EXPECT_TRUE(compressor.Decode(empty.data(), Size(empty), room.data(), capacity, &size));
        EXPECT_EQ(size, 0);
    }
    std::uint32_t size = 0;
    ClearLog();
    EXPECT_FALSE(compressor.Decode(empty.data(), 0x80000000U, room.data(), &size));
    EXPECT_THAT(LogTexts(), ElementsAre(testing::StartsWith("Compressed size read (-1)")));
}

} // namespace
