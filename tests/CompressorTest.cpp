#include "Util/CompressorLZ4.h"
#include "Util/CompressorLZ77.h"
#include "Util/CompressorZstd.h"
#include "support/FailingAllocation.h"
#include "support/GuardedBytes.h"
#include "support/RecordingLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lz4.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using TestSupport::ClearLog;
using TestSupport::GuardedBytes;
using TestSupport::LogEntries;
using TestSupport::LogTexts;
using Util::Compressor;
using Util::LZ4Compressor;
using Util::LZ77Compressor;
using Util::ZstdCompressor;
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

/// What came out, if the call says that it succeeded.
using Outcome = std::optional<Block>;

Outcome Encode(Compressor& compressor, const Block& raw)
{
    const std::uint8_t some = 0;
    std::uint8_t* dst = nullptr;
    std::uint32_t size = 0;
    const bool done = compressor.Encode(raw.empty() ? &some : raw.data(), Size(raw), &dst, &size);
    return done ? Outcome({dst, dst + size}) : std::nullopt;
}

Outcome DecodeInside(Compressor& compressor, const Block& src, std::size_t rawSize)
{
    std::uint8_t other = 0;
    std::uint8_t* dst = &other;
    auto size = static_cast<std::uint32_t>(rawSize);
    const bool done = compressor.Decode(src.data(), Size(src), &dst, &size);
    EXPECT_EQ(dst != nullptr, done);
    return done ? Outcome({dst, dst + size}) : std::nullopt;
}

Outcome DecodeUnbounded(Compressor& compressor, const Block& src, std::size_t rawSize, std::size_t room)
{
    const GuardedBytes block(src);
    const GuardedBytes raw(room);
    auto size = static_cast<std::uint32_t>(rawSize);
    const bool done = compressor.Decode(block.data(), Size(src), raw.data(), &size);
    return done ? Outcome({raw.data(), raw.data() + size}) : std::nullopt;
}

Outcome DecodeBounded(Compressor& compressor, const Block& src, std::uint32_t capacity)
{
    const GuardedBytes block(src);
    const GuardedBytes raw(capacity);
    std::uint32_t size = 77;
    const bool done = compressor.Decode(block.data(), Size(src), raw.data(), capacity, &size);
    EXPECT_TRUE(done || size == 77);
    return done ? Outcome({raw.data(), raw.data() + size}) : std::nullopt;
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

std::unique_ptr<Compressor> MakeZstd(std::uint32_t bufferSize)
{
    return std::make_unique<ZstdCompressor>(Compressor::QualityMedium, bufferSize);
}

struct Codec
{
    const char* name;
    std::unique_ptr<Compressor> (*make)(std::uint32_t bufferSize);
    bool hasChecksum;
    std::size_t mostPerByte; ///< raw bytes that a byte can stand for where the raw size does not bound them

    [[nodiscard]] Block Encoded(const Block& raw) const { return Encode(*make(0), raw).value(); }
};

class EachCompressor : public testing::TestWithParam<Codec>
{};

INSTANTIATE_TEST_SUITE_P(Compressor, EachCompressor,
                         testing::Values(Codec{"LZ77", MakeLZ77<64>, true, 1100},
                                         Codec{"LZ77ByteByByte", MakeLZ77<1>, true, 1100},
                                         Codec{"LZ4", MakeLZ4, false, 0},
                                         Codec{"Zstd", MakeZstd, true, 1 << 15}),
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
        for (const std::uint32_t capacity : {Size(raw) + 1, Size(raw), Size(raw) - 1, Size(raw) / 2}) {
            SCOPED_TRACE(testing::Message() << raw.size() << " bytes into " << capacity);
            const bool fits = capacity >= raw.size();
            const auto compressor = GetParam().make(capacity);
            ClearLog();
            EXPECT_EQ(DecodeBounded(*compressor, block, capacity), fits ? Outcome(raw) : std::nullopt);
            EXPECT_EQ(DecodeInside(*compressor, block, raw.size()), fits ? Outcome(raw) : std::nullopt);
            EXPECT_EQ(LogTexts().size(), fits ? 0 : 2);
            EXPECT_EQ(DecodeUnbounded(*compressor, block, raw.size(), raw.size()), raw);
        }
        // The end of the internal buffer bounds what is written into its middle, whatever room is claimed.
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
    // Not every bit of a stream matters: those that pad it to a byte before a stored block do not.
    const Outcome bounded = DecodeBounded(*compressor, bad, Size(raw));
    EXPECT_TRUE(!bounded || !codec.hasChecksum || bounded == raw);
    EXPECT_LE(DecodeInside(*compressor, bad, raw.size()).value_or(raw).size(), raw.size());
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
        for (Block cut = block; cut.size() > 1;) {
            cut = Block(cut.begin(), cut.end() - 1);
            SCOPED_TRACE(cut.size());
            ExpectNoHarm(GetParam(), raw, cut);
            EXPECT_NE(DecodeBounded(*GetParam().make(0), cut, Size(raw)), raw);
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
            const bool encoded = Encode(*compressor, raw).has_value();
            const bool decoded = DecodeUnbounded(*compressor, block, raw.size(), raw.size()).has_value();
            failed = failing.HasFailed();
            EXPECT_EQ(encoded && decoded, !failed);
        }
        EXPECT_EQ(std::ranges::count(LogEntries(), Core::Log::LevelError, &TestSupport::LogEntry::level) > 0,
                  failed);
        EXPECT_EQ(Encode(*compressor, raw), block);
        EXPECT_EQ(DecodeInside(*compressor, block, raw.size()), raw);
    }
}

TEST_P(EachCompressor, WorksBesideAnotherOnAnotherThread)
{
    const auto work = [](const Codec& codec, const Block& raw) {
        const auto encoder = codec.make(0);
        const auto decoder = codec.make(Size(raw));
        for (int round = 0; round < 20; ++round) {
            EXPECT_EQ(DecodeInside(*decoder, Encode(*encoder, raw).value(), raw.size()), raw);
        }
    };
    std::thread other(work, GetParam(), Trace(3000));
    work(GetParam(), Noise(3000));
    other.join();
}

TEST(Compressor, BufferGrowsOnceToWhatTheBlockNeeds)
{
    const auto expectGrowth = [](Compressor& compressor, const std::string& first,
                                 const std::string& second) {
        ClearLog();
        for (const std::size_t size : {1000U, 500U, 1000U, 1008U, 1000U}) {
            EXPECT_TRUE(Encode(compressor, Noise(size)));
        }
        const std::string text = "Compression buffer has been increased to ";
        EXPECT_THAT(LogTexts(), ElementsAre(text + first + " bytes", text + second + " bytes"));
        EXPECT_EQ(LogEntries()[0].level, 3);
    };
    expectGrowth(*MakeLZ77<4096>(0), "1574", "1583");
    expectGrowth(*MakeLZ4(0), "1019", "1027");
    expectGrowth(*MakeZstd(0), "1066", "1074");
}

struct RawSize
{
    const char* name;
    std::unique_ptr<Compressor> (*make)(std::uint32_t);
    std::uint32_t srcSize;
    const char* message; ///< null: nothing is logged
};

/// By size alone, before anything is read, allocated, or found to be null.
TEST(Compressor, RefusesRawBlocksThatItCannotTake)
{
    constexpr const char* limit = "Invald arguments, LZ4 maximum raw data buffer size is 2147483647";
    const RawSize cases[] = {
        {"LZ77, buffer of 2^32", MakeLZ77<100>, 4'042'321'680U, InvalidArguments},
        {"LZ77, largest", MakeLZ77<100>, 0xFFFFFFFFU, InvalidArguments},
        {"LZ77 in chunks of nothing", MakeLZ77<0>, 10, InvalidArguments},
        {"Zstd, largest", MakeZstd, 0xFFFFFFFFU, InvalidArguments},
        {"LZ4, empty", MakeLZ4, 0, limit},
        {"LZ4, 2^31", MakeLZ4, 0x80000000U, limit},
        {"LZ4, 2^31 - 1", MakeLZ4, 0x7FFFFFFFU, nullptr},
        {"LZ4, above the codec's own limit", MakeLZ4, LZ4_MAX_INPUT_SIZE + 1, nullptr},
    };
    const Block src(10);
    for (const RawSize& refused : cases) {
        SCOPED_TRACE(refused.name);
        ClearLog();
        std::uint8_t* dst = nullptr;
        std::uint32_t size = 77;
        EXPECT_FALSE(refused.make(0)->Encode(src.data(), refused.srcSize, &dst, &size));
        EXPECT_EQ(LogTexts(), refused.message ? Texts{refused.message} : Texts());
        EXPECT_EQ(dst, nullptr);
        EXPECT_EQ(size, 77);
    }
    ClearLog();
    EXPECT_FALSE(MakeLZ4(0)->Encode(nullptr, 0, nullptr, nullptr));
    EXPECT_FALSE(DecodeInside(*MakeLZ77<0>(10), src, 0));
    EXPECT_FALSE(DecodeBounded(*MakeLZ77<0>(10), src, 10));
    EXPECT_THAT(LogTexts(), ElementsAre(limit, InvalidArguments, InvalidArguments));
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
        EXPECT_EQ(Encode(compressor, raw), expected);
    }
}

TEST(LZ77Compressor, FlushesAfterEveryChunkButTheLast)
{
    const Block flush = {0, 0, 0xFF, 0xFF}; // an empty stored block; RFC 1951, section 3.2.4
    for (const auto& [chunkSize, flushes] : {std::pair{1000U, 9}, {1001U, 9}, {9999U, 1}, {10'000U, 0}}) {
        SCOPED_TRACE(chunkSize);
        LZ77Compressor compressor(Compressor::QualityMedium, 0, chunkSize);
        const Block block = Encode(compressor, Trace(10'000)).value();
        int found = 0;
        auto at = block.begin();
        while ((at = std::search(at, block.end(), flush.begin(), flush.end())) != block.end()) {
            ++at;
            ++found;
        }
        EXPECT_EQ(found, flushes);
    }
}

/// With chunks of a few bytes each flush adds more than the chunk's share of the margin.
TEST(LZ77Compressor, AnyChunkSizeDecodesWithAnyOther)
{
    std::vector<std::uint32_t> chunkSizes = {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU};
    for (std::uint32_t chunkSize = 1; chunkSize <= 20; ++chunkSize) {
        chunkSizes.push_back(chunkSize);
    }
    for (const Block& raw : {Block{}, Block{7}, Noise(19), Trace(777), Noise(9000)}) {
        for (const std::uint32_t chunkSize : chunkSizes) {
            SCOPED_TRACE(testing::Message() << raw.size() << " bytes in chunks of " << chunkSize);
            LZ77Compressor encoder(static_cast<Compressor::CompressorQuality>(chunkSize % 4), 0, chunkSize);
            ClearLog();
            const Block block = Encode(encoder, raw).value();
            EXPECT_LE(LogTexts().size(), 2) << "one growth, and one more where that was not enough";
            for (const std::uint32_t other : chunkSizes) {
                LZ77Compressor decoder(Compressor::QualityLow, Size(raw), other);
                EXPECT_EQ(DecodeInside(decoder, block, 0), raw) << other;
                EXPECT_EQ(DecodeBounded(decoder, block, Size(raw)), raw) << other;
            }
        }
    }
}

struct Damage
{
    const char* name;
    std::function<void(Block&)> change;
    std::size_t decodedSize;
    bool intact;
};

/// The form without a capacity says nothing of damage; the one with it does, and says what was wrong.
TEST(LZ77Compressor, TellsCutDamagedAndLargeBlocks)
{
    const Damage cases[] = {
        {"good", [](Block& /*block*/) {}, 1000, true},
        {"followed by more", [](Block& block) { block.push_back(0); }, 1000, true},
        {"checksum cut", [](Block& block) { block.pop_back(); }, 1000, false},
        {"checksum wrong", [](Block& block) { block.back() ^= 1; }, 1000, false},
        {"not a zlib stream", [](Block& block) { block[0] = 0; }, 0, false},
    };
    LZ77Compressor compressor(Compressor::QualityHigh, 2000, 1 << 16);
    const Block good = Encode(compressor, Trace(1000)).value();
    for (const Damage& damage : cases) {
        SCOPED_TRACE(damage.name);
        Block block = good;
        damage.change(block);
        ClearLog();
        const Outcome unbounded = DecodeUnbounded(compressor, block, 0, 1000);
        ASSERT_TRUE(unbounded);
        EXPECT_EQ(unbounded->size(), damage.decodedSize);
        EXPECT_EQ(DecodeInside(compressor, block, 0), unbounded);
        EXPECT_THAT(LogTexts(), IsEmpty());
        EXPECT_EQ(DecodeBounded(compressor, block, 1000).has_value(), damage.intact);
        const std::string size = std::to_string(block.size());
        const std::string refusal = "Compressed block of " + size + " bytes is cut or damaged, bailing out.";
        EXPECT_EQ(LogTexts(), damage.intact ? Texts() : Texts{refusal});
    }
    ClearLog();
    EXPECT_FALSE(DecodeBounded(compressor, good, 999));
    EXPECT_THAT(LogTexts(), ElementsAre("Decompressed block does not fit 999 bytes, bailing out."));
}

TEST(LZ4Compressor, HasOneQuality)
{
    const Texts replaced = {"Currently, LZ4 only provides one level of compression. Switching to low."};
    for (const std::uint32_t quality : {0U, 1U, 2U, 3U, 99U}) {
        SCOPED_TRACE(quality);
        ClearLog();
        const LZ4Compressor compressor(static_cast<Compressor::CompressorQuality>(quality), 16);
        EXPECT_EQ(compressor.GetQuality(), Compressor::QualityLow);
        EXPECT_EQ(LogTexts(), quality == Compressor::QualityLow ? Texts() : replaced);
    }
}

TEST(LZ4Compressor, TakesOnlyTheExactRawSize)
{
    LZ4Compressor compressor(Compressor::QualityLow, 1000);
    const Block block = Encode(compressor, Trace(1000)).value();
    const std::string size = std::to_string(block.size());
    const std::string expected = " different from expected (" + size + "), file may be corrupt.";
    for (const std::uint32_t rawSize : {0U, 1U, 999U, 1001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(rawSize);
        ClearLog();
        EXPECT_FALSE(DecodeInside(compressor, block, rawSize));
        EXPECT_THAT(LogTexts(), ElementsAre(EndsWith(expected)));
    }
    ClearLog();
    EXPECT_FALSE(DecodeUnbounded(compressor, block, 1001, 1001));
    EXPECT_THAT(LogTexts(), ElementsAre("Compressed size read (1000)" + expected)); // what came out
    // No error code of the codec is mistaken for a size.
    for (std::uint32_t rawSize = 0xFFFFFFF0U; rawSize > 0; ++rawSize) {
        EXPECT_FALSE(DecodeUnbounded(compressor, {0x10}, rawSize, 1));
    }
}

TEST(LZ4Compressor, TakesSizesThatAnIntCannotHold)
{
    LZ4Compressor compressor(Compressor::QualityLow, 0);
    const Block empty = {0}; // one token: no literal, no match
    EXPECT_EQ(DecodeInside(compressor, empty, 0), Block());
    std::uint8_t room = 0;
    std::uint32_t size = 0;
    EXPECT_TRUE(compressor.Decode(empty.data(), 1, &room, 0xFFFFFFFFU, &size));
    EXPECT_FALSE(compressor.Decode(empty.data(), 0x80000000U, &room, &size));
}

/// A frame as other programs make it.
Block Frame(const Block& raw, std::initializer_list<std::pair<ZSTD_cParameter, int>> parameters)
{
    const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> encoder(ZSTD_createCCtx(), &ZSTD_freeCCtx);
    for (const auto& [name, value] : parameters) {
        EXPECT_FALSE(ZSTD_isError(ZSTD_CCtx_setParameter(encoder.get(), name, value)));
    }
    Block frame(ZSTD_compressBound(raw.size()));
    frame.resize(ZSTD_compress2(encoder.get(), frame.data(), frame.size(), raw.data(), raw.size()));
    return frame;
}

TEST(ZstdCompressor, QualityIsTheZstdLevel)
{
    const Block raw = Trace(300'000);
    for (const auto& [quality, level] : {std::pair{0U, -131'072}, {1U, 1}, {2U, 5}, {3U, 7}, {77U, 5}}) {
        SCOPED_TRACE(quality);
        ZstdCompressor compressor(static_cast<Compressor::CompressorQuality>(quality), 0);
        EXPECT_EQ(compressor.GetZstdQuality(), level);
        EXPECT_EQ(compressor.GetQuality(), quality);
        const Block expected = Frame(raw, {{ZSTD_c_compressionLevel, level}, {ZSTD_c_checksumFlag, 1}});
        EXPECT_EQ(Encode(compressor, raw), expected);
        EXPECT_EQ(Encode(compressor, raw), expected) << "with the context of the first";
    }
}

/// The forms without a capacity write no more than a frame tells, or into the internal buffer.
TEST(ZstdCompressor, TakesOneFrameOfAnyKind)
{
    const Block raw = Trace(1000);
    const Block good = Frame(raw, {{ZSTD_c_checksumFlag, 1}});
    const Block sizeless = Frame(raw, {{ZSTD_c_contentSizeFlag, 0}});
    Block hugeWindow = sizeless;
    hugeWindow[5] = 0xA8; // 2^31 bytes; RFC 8878, section 3.1.1.1.2
    Block twice = good;
    twice.insert(twice.end(), good.begin(), good.end());
    Block followed = good;
    followed.push_back(0);
    Block unchecked = good;
    unchecked[4] ^= 4; // the flag of the checksum
    struct Case
    {
        const char* name;
        Block block;
        Outcome decoded;
        bool tellsSize = true;
    };
    const Case cases[] = {
        {"good", good, raw},
        {"empty", Encode(*MakeZstd(0), Block()).value(), Block()},
        {"no checksum", Frame(raw, {}), raw},
        {"a run of one byte", {0x28, 0xB5, 0x2F, 0xFD, 0x20, 200, 0x43, 6, 0, 7}, Block(200, 7)},
        {"no size", sizeless, raw, false},
        {"a window of 2^31", hugeWindow, raw, false},
        {"checksum not announced", unchecked, std::nullopt},
        {"two frames", twice, std::nullopt},
        {"followed by more", followed, std::nullopt},
        {"to be skipped", {0x50, 0x2A, 0x4D, 0x18, 0, 0, 0, 0}, std::nullopt},
        {"format 0.7", {0x27, 0xB5, 0x2F, 0xFD, 0, 0, 0, 0xC0, 0, 0}, std::nullopt},
        {"magic number alone", {0x28, 0xB5, 0x2F, 0xFD}, std::nullopt},
    };
    const auto compressor = MakeZstd(1000);
    ASSERT_TRUE(DecodeInside(*compressor, good, 0));
    const TestSupport::FailingAllocation failing(0); // a frame gets no memory, whatever it claims to need
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        ClearLog();
        EXPECT_EQ(DecodeBounded(*compressor, row.block, 1000), row.decoded);
        EXPECT_EQ(DecodeInside(*compressor, row.block, 0), row.decoded);
        EXPECT_EQ(DecodeUnbounded(*compressor, row.block, 0, row.decoded ? row.decoded->size() : 0),
                  row.tellsSize ? row.decoded : std::nullopt);
        const std::string block = "Compressed block of " + std::to_string(row.block.size()) + " bytes ";
        Texts expected(row.decoded ? 0 : 2, block + "is cut or damaged, bailing out.");
        if (!row.tellsSize) {
            expected.push_back(block + "does not tell its raw size, bailing out.");
        } else if (!row.decoded) {
            expected.push_back(expected[0]);
        }
        EXPECT_EQ(LogTexts(), expected);
    }
    EXPECT_FALSE(failing.HasFailed());
}

TEST(ZstdCompressor, AllocatesNothingOnceItHasSeenTheSizes)
{
    const auto compressor = MakeZstd(0);
    const auto roundTrips = [&] {
        for (const std::size_t size : {0U, 300'000U, 1000U, 299'999U}) {
            const Block raw = Trace(size);
            EXPECT_EQ(DecodeInside(*compressor, Encode(*compressor, raw).value(), size), raw);
        }
    };
    roundTrips();
    const TestSupport::FailingAllocation failing(0);
    roundTrips();
    EXPECT_FALSE(failing.HasFailed());
}

} // namespace
