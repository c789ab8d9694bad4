// The compressors beside the raw calls of zlib, LZ4 and zstd, turn about in one run: same data, levels and
// flushes.
//
//     CompressorBenchmark [--full] [FILE...] [--benchmark_filter=...]
//     CompressorBenchmark --table [FILE...]
//
// Data is a captured frame, a call trace, and the files named, each cut or repeated to the size. A round is
// as many calls as take 0.1 ms. `us` is the median processor time of one call, `ratio` that over the median
// of the raw call, `own_allocations` what the compressor itself allocated in all rounds together. --full
// measures every size from 4 KiB to 64 MiB and takes minutes.
//
// --table prints what each codec and quality makes of the trace and the files, in blocks of 1 MiB, and of all
// captured frames, a block each: compressed size in percent, MB/s of `Encode` and of the bounded `Decode`.

#include "Frames.h"
#include "Util/CompressorLZ4.h"
#include "Util/CompressorLZ77.h"
#include "Util/CompressorZstd.h"

#include <benchmark/benchmark.h>
#include <lz4.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

namespace {

std::size_t s_ownAllocations = 0;

} // namespace

// The library allocates by this form alone; zlib, LZ4 and zstd by malloc.
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    ++s_ownAllocations;
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace {

using Util::Compressor;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t ChunkSize = 1 << 16;

std::uint32_t Size(const Bytes& bytes)
{
    return static_cast<std::uint32_t>(bytes.size());
}

/// The pixels of a captured frame, from the middle of the picture on.
Bytes FramePixels()
{
    Bytes pixels = Bench::FullHDFrame().pixels;
    std::rotate(pixels.begin(), pixels.begin() + static_cast<std::ptrdiff_t>(pixels.size() / 2),
                pixels.end());
    return pixels;
}

Bytes Trace()
{
    constexpr const char* calls[] = {"glBindTexture(GL_TEXTURE_2D, ", "glUniform4fv(",
                                     "glDrawArrays(GL_TRIANGLES, "};
    std::minstd_rand random(1);
    Bytes trace;
    while (trace.size() < 1 << 22) {
        const std::string line = calls[random() % 3] + std::to_string(random() % 5000) + ")\n";
        trace.insert(trace.end(), line.begin(), line.end());
    }
    return trace;
}

Bytes Repeated(const Bytes& bytes, std::size_t size)
{
    Bytes repeated;
    repeated.reserve(size);
    while (repeated.size() < size) {
        const auto length = std::min(bytes.size(), size - repeated.size());
        repeated.insert(repeated.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
    }
    return repeated;
}

std::uint32_t RawDeflate(const Bytes& raw, int level, Bytes& out)
{
    z_stream stream{};
    deflateInit(&stream, level);
    stream.next_in = const_cast<Bytef*>(raw.data());
    stream.next_out = out.data();
    int code = Z_OK;
    while (code == Z_OK) {
        const auto rest = static_cast<uInt>(raw.size() - stream.total_in);
        stream.avail_in = std::min(ChunkSize, rest);
        stream.avail_out = ChunkSize;
        code = deflate(&stream, ChunkSize >= rest ? Z_FINISH : Z_SYNC_FLUSH);
    }
    deflateEnd(&stream);
    return static_cast<std::uint32_t>(stream.total_out);
}

std::uint32_t RawInflate(const Bytes& block, Bytes& out)
{
    z_stream stream{};
    inflateInit(&stream);
    stream.next_in = const_cast<Bytef*>(block.data());
    stream.next_out = out.data();
    int code = Z_OK;
    while (code == Z_OK) {
        stream.avail_in = std::min(ChunkSize, static_cast<uInt>(block.size() - stream.total_in));
        stream.avail_out = ChunkSize;
        code = inflate(&stream, Z_SYNC_FLUSH);
    }
    inflateEnd(&stream);
    return static_cast<std::uint32_t>(stream.total_out);
}

std::uint32_t RawLZ4Compress(const Bytes& raw, Bytes& out)
{
    return static_cast<std::uint32_t>(
        LZ4_compress_default(reinterpret_cast<const char*>(raw.data()), reinterpret_cast<char*>(out.data()),
                             static_cast<int>(raw.size()), LZ4_compressBound(static_cast<int>(raw.size()))));
}

std::uint32_t RawLZ4Decompress(const Bytes& block, Bytes& out)
{
    return static_cast<std::uint32_t>(
        LZ4_decompress_safe(reinterpret_cast<const char*>(block.data()), reinterpret_cast<char*>(out.data()),
                            static_cast<int>(block.size()), static_cast<int>(out.size())));
}

/// zstd as a program uses it that keeps its contexts.
struct RawZstd
{
    std::shared_ptr<ZSTD_CCtx> encoder{ZSTD_createCCtx(), ZSTD_freeCCtx};
    std::shared_ptr<ZSTD_DCtx> decoder{ZSTD_createDCtx(), ZSTD_freeDCtx};

    explicit RawZstd(int level)
    {
        ZSTD_CCtx_setParameter(encoder.get(), ZSTD_c_compressionLevel, level);
        ZSTD_CCtx_setParameter(encoder.get(), ZSTD_c_checksumFlag, 1);
    }

    std::uint32_t Compress(const Bytes& raw, Bytes& out) const
    {
        return static_cast<std::uint32_t>(
            ZSTD_compress2(encoder.get(), out.data(), out.size(), raw.data(), raw.size()));
    }

    std::uint32_t Decompress(const Bytes& block, Bytes& out) const
    {
        return static_cast<std::uint32_t>(
            ZSTD_decompressDCtx(decoder.get(), out.data(), out.size(), block.data(), block.size()));
    }
};

/// Returns the size of what came out, 0 on failure.
using Call = std::function<std::uint32_t()>;

/// Processor time of this thread: on a machine shared with others the wall clock measures them as well.
double Now()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double Seconds(const Call& call, int times)
{
    const double start = Now();
    for (int i = 0; i < times; ++i) {
        benchmark::DoNotOptimize(call());
    }
    return (Now() - start) / times;
}

double Median(std::vector<double>& times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

void Compare(benchmark::State& state, std::size_t rawSize, const Call& ours, const Call& raw)
{
    std::uint32_t rawResult = 0;
    constexpr double worthReadingTheClock = 100e-6;
    const int times =
        static_cast<int>(worthReadingTheClock / Seconds([&] { return rawResult = raw(); }, 1)) + 1;
    if (const std::uint32_t size = ours(); size == 0 || size != rawResult) {
        state.SkipWithError("the raw call gives something else");
        return;
    }
    s_ownAllocations = 0;
    std::vector<double> ourTimes;
    std::vector<double> rawTimes;
    for ([[maybe_unused]] auto round : state) {
        const bool rawFirst = ourTimes.size() % 2 == 1;
        const double first = Seconds(rawFirst ? raw : ours, times);
        const double second = Seconds(rawFirst ? ours : raw, times);
        ourTimes.push_back(rawFirst ? second : first);
        rawTimes.push_back(rawFirst ? first : second);
        state.SetIterationTime(ourTimes.back() * times);
    }
    state.counters["own_allocations"] = static_cast<double>(s_ownAllocations);
    state.counters["us"] = 1e6 * Median(ourTimes);
    state.counters["ratio"] = Median(ourTimes) / Median(rawTimes);
    state.SetBytesProcessed(state.iterations() * times * static_cast<std::int64_t>(rawSize));
}

struct Data
{
    std::string name;
    Bytes bytes;
};

struct Codec
{
    std::string name;
    std::shared_ptr<Compressor> compressor;
    std::function<std::uint32_t(const Bytes& raw, Bytes& out)> rawEncode;
    std::function<std::uint32_t(const Bytes& block, Bytes& out)> rawDecode;
};

std::vector<Codec> Codecs()
{
    std::vector<Codec> codecs;
    constexpr std::pair<Compressor::CompressorQuality, const char*> qualities[] = {
        {Compressor::QualityNone, " none"},
        {Compressor::QualityLow, " low"},
        {Compressor::QualityMedium, " medium"},
        {Compressor::QualityHigh, " high"},
    };
    for (const auto& [quality, name] : qualities) {
        auto compressor = std::make_shared<Util::LZ77Compressor>(quality, 0, ChunkSize);
        const int level = compressor->GetLZ77Quality();
        const auto encode = [level](const Bytes& raw, Bytes& out) { return RawDeflate(raw, level, out); };
        codecs.push_back({std::string("zlib") + name, std::move(compressor), encode, RawInflate});
    }
    for (const auto& [quality, name] : qualities) {
        auto compressor = std::make_shared<Util::ZstdCompressor>(quality, 0);
        const RawZstd zstd(compressor->GetZstdQuality());
        const auto encode = [zstd](const Bytes& raw, Bytes& out) { return zstd.Compress(raw, out); };
        const auto decode = [zstd](const Bytes& block, Bytes& out) { return zstd.Decompress(block, out); };
        codecs.push_back({std::string("zstd") + name, std::move(compressor), encode, decode});
    }
    codecs.push_back({"LZ4", std::make_shared<Util::LZ4Compressor>(Compressor::QualityLow, 0), RawLZ4Compress,
                      RawLZ4Decompress});
    return codecs;
}

struct Encoded
{
    std::uint8_t* bytes = nullptr; ///< the compressor's
    std::uint32_t size = 0;        ///< 0 on failure
};

Encoded OurEncode(const Codec& codec, const Bytes& raw)
{
    Encoded block;
    codec.compressor->Encode(raw.data(), Size(raw), &block.bytes, &block.size);
    return block;
}

std::uint32_t OurDecode(const Codec& codec, const Bytes& block, Bytes& out, bool bounded)
{
    std::uint32_t size = Size(out);
    const bool decoded = bounded
                             ? codec.compressor->Decode(block.data(), Size(block), out.data(), size, &size)
                             : codec.compressor->Decode(block.data(), Size(block), out.data(), &size);
    return decoded ? size : 0;
}

void Encode(benchmark::State& state, const Codec& codec, const Bytes& raw)
{
    Bytes out(raw.size() + raw.size() / 16 + ChunkSize);
    Compare(
        state, raw.size(), [&] { return OurEncode(codec, raw).size; },
        [&] { return codec.rawEncode(raw, out); });
}

void Decode(benchmark::State& state, const Codec& codec, const Bytes& raw, bool bounded)
{
    const Encoded encoded = OurEncode(codec, raw);
    const Bytes block(encoded.bytes, encoded.bytes + encoded.size);
    Bytes out(raw.size()); // one for both, since where it lies counts in a block of 4 KiB
    Compare(
        state, raw.size(), [&] { return OurDecode(codec, block, out, bounded); },
        [&] { return codec.rawDecode(block, out); });
}

double Fastest(const Call& call)
{
    double seconds = Seconds(call, 1);
    for (int round = 1; round < 5; ++round) {
        seconds = std::min(seconds, Seconds(call, 1));
    }
    return seconds;
}

/// Prints three columns of the table.
void PrintCost(const Codec& codec, const std::vector<Bytes>& blocks)
{
    double rawSize = 0;
    double size = 0;
    double encode = 0;
    double decode = 0;
    for (const Bytes& raw : blocks) {
        encode += Fastest([&] { return OurEncode(codec, raw).size; });
        const Encoded encoded = OurEncode(codec, raw);
        const Bytes block(encoded.bytes, encoded.bytes + encoded.size);
        Bytes out(raw.size());
        decode += Fastest([&] { return OurDecode(codec, block, out, true); });
        rawSize += Size(raw);
        size += encoded.size;
    }
    std::printf(" %.1f | %.0f | %.0f |", 100 * size / rawSize, 1e-6 * rawSize / encode,
                1e-6 * rawSize / decode);
}

void PrintTable(const std::vector<Data>& sets)
{
    std::vector<std::vector<Bytes>> blocks(1);
    std::printf("| | frames | | |");
    for (const Bench::Frame& frame : Bench::Frames()) {
        blocks[0].push_back(frame.pixels);
    }
    for (const Data& data : sets) {
        std::printf(" %s | | |", data.name.c_str());
        blocks.emplace_back();
        constexpr std::size_t blockSize = 1 << 20;
        for (auto rest = data.bytes.begin(); rest < data.bytes.end();) {
            const auto end = rest + std::min<std::ptrdiff_t>(blockSize, data.bytes.end() - rest);
            blocks.back().emplace_back(rest, end);
            rest = end;
        }
    }
    for (const Codec& codec : Codecs()) {
        std::printf("\n| %s |", codec.name.c_str());
        for (const std::vector<Bytes>& set : blocks) {
            PrintCost(codec, set);
        }
    }
    std::puts("");
}

std::string SizeName(std::size_t size)
{
    return size >= 1 << 20 ? std::to_string(size >> 20) + " MiB" : std::to_string(size >> 10) + " KiB";
}

void Register(const Data& data, std::size_t size)
{
    const auto raw = std::make_shared<Bytes>(Repeated(data.bytes, size));
    for (const Codec& codec : Codecs()) {
        const auto add = [&](const std::string& operation, auto run) {
            const std::string name = codec.name + "/" + operation + "/" + data.name + "/" + SizeName(size);
            benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Unit(benchmark::kMicrosecond);
        };
        add("Encode", [codec, raw](benchmark::State& state) { Encode(state, codec, *raw); });
        add("Decode", [codec, raw](benchmark::State& state) { Decode(state, codec, *raw, false); });
        add("bounded Decode", [codec, raw](benchmark::State& state) { Decode(state, codec, *raw, true); });
    }
}

} // namespace

int main(int argc, char** argv)
{
    std::string shortRun =
        "--benchmark_min_time=0.2"; // before the others, so that one of them can take its place
    std::vector<char*> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, shortRun.data());
    argc = static_cast<int>(arguments.size());
    benchmark::Initialize(&argc, arguments.data());
    arguments.resize(static_cast<std::size_t>(argc));
    std::vector<std::size_t> sizes = {4 << 10, 1 << 20};
    std::vector<Data> sets = {{"trace", Trace()}};
    bool table = false;
    for (const std::string& argument : std::vector<std::string>(arguments.begin() + 1, arguments.end())) {
        if (argument == "--full") {
            sizes = {4 << 10, 64 << 10, 1 << 20, 16 << 20, 64 << 20};
            continue;
        }
        if (argument == "--table") {
            table = true;
            continue;
        }
        std::ifstream file(argument, std::ios::binary);
        sets.push_back(
            {std::filesystem::path(argument).filename(), {std::istreambuf_iterator<char>(file), {}}});
        if (sets.back().bytes.empty()) {
            std::fprintf(stderr, "%s holds no data\n", argument.c_str());
            return 1;
        }
    }
    if (table) {
        PrintTable(sets);
        return 0;
    }
    sets.push_back({"frame", FramePixels()});
    for (const Data& data : sets) {
        for (const std::size_t size : sizes) {
            Register(data, size);
        }
    }
    if (s_ownAllocations == 0) {
        std::fputs("The buffers of the compressors made here were not counted.\n", stderr);
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
