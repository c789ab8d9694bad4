// Encoding of screenshots beside the raw calls that they come down to. Rows end in the ratio that counts:
// "to_raw" is this row's time over that of the raw call, measured in turn with it in the same run.

#include "Frames.h"
#include "Heap.h"
#include "Util/GLScreenshotHandler.h"
#include "Util/PixelConversion.h"

#include <GLES3/gl3.h>
#include <benchmark/benchmark.h>
#include <png.h>
#ifdef FRAMEGRAB_WITH_ISAL
#include <isa-l/igzip_lib.h>
#endif

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <time.h>

namespace {

using Bench::Frame;
using Util::GLScreenshotHandler;
using Util::ScreenshotWriter;

std::string OutputName()
{
    return (std::filesystem::temp_directory_path() / "util-benchmark").string();
}

/// Processor time of the calling thread, system calls included: what else the machine does meanwhile does not
/// count.
double Now()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double Seconds(const std::function<void()>& work)
{
    const double start = Now();
    work();
    return Now() - start;
}

/// Runs ours and the raw call in turn; the row's time is ours.
void Compare(benchmark::State& state, const std::function<void()>& ours, const std::function<void()>& raw)
{
    double oursTotal = 0.0;
    double rawTotal = 0.0;
    ours();
    raw();
    for (auto _ : state) {
        const double seconds = Seconds(ours);
        state.SetIterationTime(seconds);
        oursTotal += seconds;
        rawTotal += Seconds(raw);
    }
    state.counters["to_raw"] = oursTotal / rawTotal;
    state.counters["raw_ms"] = rawTotal / static_cast<double>(state.iterations()) * 1e3;
}

void WriteBytes(const std::string& path, const std::uint8_t* bytes, std::size_t size)
{
    FILE* const file = std::fopen(path.c_str(), "wb");
    std::fwrite(bytes, 1, size, file);
    std::fclose(file);
}

void Screenshot(ScreenshotWriter::ImageFormat format, const Frame& frame)
{
    GLScreenshotHandler handler(format);
    if (handler.WriteScreenshot(OutputName(), frame.width, frame.height, frame.pixels.data(), GL_RGBA,
                                GL_UNSIGNED_BYTE) != 0) {
        std::abort();
    }
}

/// What a program does that hands the same pixels to libpng itself, with the same settings.
void RawLibpng(const Frame& frame)
{
    FILE* const file = std::fopen((OutputName() + "-raw.png").c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_compression_mem_level(png, 9);
    png_set_IHDR(png, info, frame.width, frame.height, 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (std::uint32_t row = frame.height; row-- > 0;) {
        png_write_row(png, frame.pixels.data() + std::size_t{row} * frame.width * 4);
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

void BM_BMP_to_fwrite(benchmark::State& state)
{
    const Frame& frame = Bench::FullHDFrame();
    const auto ours = [&] { Screenshot(ScreenshotWriter::FormatBMP, frame); };
    Compare(state, ours,
            [&] { WriteBytes(OutputName() + "-raw.bmp", frame.pixels.data(), frame.pixels.size()); });
    const Bench::Heap heap;
    ours();
    state.counters["frame_sized_allocations"] = static_cast<double>(heap.FrameSized());
}
BENCHMARK(BM_BMP_to_fwrite)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);

void BM_PNG_small_to_libpng(benchmark::State& state)
{
    const Frame& frame = Bench::FullHDFrame();
    ScreenshotWriter::SetPNGEncoding(ScreenshotWriter::PNGSmall);
    const auto ours = [&] { Screenshot(ScreenshotWriter::FormatPNG, frame); };
    Compare(state, ours, [&] { RawLibpng(frame); });
    const Bench::Heap heap;
    ours();
    state.counters["frame_sized_allocations"] = static_cast<double>(heap.FrameSized());
}
BENCHMARK(BM_PNG_small_to_libpng)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(2.0);

/// A whole screenshot, fast beside small: "to_raw" is the share of the time that is left.
void BM_PNG_fast_to_small(benchmark::State& state, const Frame& frame)
{
    const auto with = [&frame](ScreenshotWriter::PNGEncoding encoding) {
        return [&frame, encoding] {
            ScreenshotWriter::SetPNGEncoding(encoding);
            Screenshot(ScreenshotWriter::FormatPNG, frame);
        };
    };
    const auto size = [] { return static_cast<double>(std::filesystem::file_size(OutputName() + ".png")); };
    Compare(state, with(ScreenshotWriter::PNGFast), with(ScreenshotWriter::PNGSmall));
    const double small = size();
    const Bench::Heap heap;
    with(ScreenshotWriter::PNGFast)();
    state.counters["KiB"] = static_cast<double>(heap.Peak()) / 1024;
    state.counters["size_to_small"] = size() / small;
    state.counters["speedup"] = 1.0 / state.counters["to_raw"];
}

#ifdef FRAMEGRAB_WITH_ISAL
/// What the fast encoding compresses: each row but the first as its difference to the one above.
std::vector<std::uint8_t> FilteredRows(const Frame& frame)
{
    const std::size_t rowBytes = std::size_t{frame.width} * 4;
    std::vector<std::uint8_t> filtered;
    for (std::uint32_t row = frame.height; row-- > 0;) {
        const std::uint8_t* const pixels = frame.pixels.data() + row * rowBytes;
        const bool isFirst = row + 1 == frame.height;
        filtered.push_back(isFirst ? PNG_FILTER_VALUE_NONE : PNG_FILTER_VALUE_UP);
        for (std::size_t i = 0; i < rowBytes; ++i) {
            filtered.push_back(static_cast<std::uint8_t>(pixels[i] - (isFirst ? 0 : pixels[i + rowBytes])));
        }
    }
    return filtered;
}

/// A whole screenshot beside ISA-L alone, from memory to memory, on the bytes that the encoding compresses.
/// "over_in_copies" is what the screenshot takes longer, in copies of the frame. Of each, the fastest time:
/// the difference of two averages would tell what else the machine does.
void BM_PNG_fast_over_ISAL(benchmark::State& state, const Frame& frame)
{
    ScreenshotWriter::SetPNGEncoding(ScreenshotWriter::PNGFast);
    std::vector<std::uint8_t> filtered = FilteredRows(frame);
    std::vector<std::uint8_t> compressed(filtered.size() * 2);
    std::vector<std::uint8_t> level(ISAL_DEF_LVL1_DEFAULT);
    std::vector<std::uint8_t> copy(frame.pixels.size());
    GLScreenshotHandler handler(ScreenshotWriter::FormatPNG);
    isal_zstream stream;

    double ours = 1.0;
    double raw = 1.0;
    double memcpyTime = 1.0;
    for (auto _ : state) {
        // As a capture: to a new file. Some file systems write one that is overwritten to the disk at its
        // close.
        std::filesystem::remove(OutputName() + ".png");
        const double seconds = Seconds([&] {
            handler.WriteScreenshot(OutputName(), frame.width, frame.height, frame.pixels.data(), GL_RGBA,
                                    GL_UNSIGNED_BYTE);
        });
        state.SetIterationTime(seconds);
        ours = std::min(ours, seconds);
        raw = std::min(raw, Seconds([&] {
                           isal_deflate_init(&stream);
                           stream.level = 1;
                           stream.level_buf = level.data();
                           stream.level_buf_size = static_cast<std::uint32_t>(level.size());
                           stream.gzip_flag = IGZIP_ZLIB;
                           stream.end_of_stream = 1;
                           stream.next_in = filtered.data();
                           stream.avail_in = static_cast<std::uint32_t>(filtered.size());
                           stream.next_out = compressed.data();
                           stream.avail_out = static_cast<std::uint32_t>(compressed.size());
                           if (isal_deflate(&stream) != COMP_OK) {
                               std::abort();
                           }
                       }));
        memcpyTime = std::min(memcpyTime, Seconds([&] {
                                  std::memcpy(copy.data(), frame.pixels.data(), frame.pixels.size());
                                  benchmark::ClobberMemory();
                              }));
    }
    state.counters["ours_ms"] = ours * 1e3;
    state.counters["isal_ms"] = raw * 1e3;
    state.counters["copy_ms"] = memcpyTime * 1e3;
    state.counters["over_in_copies"] = (ours - raw) / memcpyTime;
}
#endif

void BM_Convert_to_memcpy(benchmark::State& state, GLenum type)
{
    const std::size_t pixels = std::size_t{1920} * 1080;
    const std::size_t pitch = type == GL_UNSIGNED_BYTE ? 4 : 16;
    std::vector<std::uint8_t> source(pixels * pitch);
    for (std::size_t i = 0; i < pixels * pitch / 4; ++i) {
        const float value = static_cast<float>(i % 1001) / 1000.0F;
        std::memcpy(&source[i * 4], &value, 4);
    }
    std::vector<std::uint8_t> output(pixels * pitch);
    Compare(
        state,
        [&] {
            Util::ConvertToBGRA(source.data(), pixels, type, false, output.data());
            benchmark::ClobberMemory();
        },
        [&] {
            std::memcpy(output.data(), source.data(), source.size());
            benchmark::ClobberMemory();
        });
}
BENCHMARK_CAPTURE(BM_Convert_to_memcpy, RGBA8, GL_UNSIGNED_BYTE)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convert_to_memcpy, Float, GL_FLOAT)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convert_to_memcpy, Int, GL_INT)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convert_to_memcpy, UnsignedInt, GL_UNSIGNED_INT)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void RegisterForEachFrame(const char* name, void (*function)(benchmark::State&, const Frame&), double seconds)
{
    for (const Frame& frame : Bench::Frames()) {
        benchmark::RegisterBenchmark((std::string(name) + "/" + frame.name).c_str(),
                                     [&frame, function](benchmark::State& state) { function(state, frame); })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->MinTime(seconds);
    }
}

} // namespace

int main(int argc, char** argv)
{
    RegisterForEachFrame("BM_PNG_fast_to_small", &BM_PNG_fast_to_small, 0.05);
#ifdef FRAMEGRAB_WITH_ISAL
    RegisterForEachFrame("BM_PNG_fast_over_ISAL", &BM_PNG_fast_over_ISAL, 0.5);
#endif
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    for (const char* const extension : {".bmp", ".png", "-raw.bmp", "-raw.png"}) {
        std::filesystem::remove(OutputName() + extension);
    }
    return 0;
}
