// Captures of a 1920 x 1080 surface on the software driver, and what their time goes into: "read" is
// glReadPixels, "shader" the build of the program that shows depth or stencil, "blit" glBlitFramebuffer,
// "draw" the quad. What is left of a row's time is conversion and encoding.

#include "Heap.h"
#include "Util/GLScreenshotHandler.h"
#include "support/GLContext.h"
#include "support/Quadrants.h"
#include "support/TestDispatch.h"

#include <GLES3/gl32.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <malloc.h>

namespace {

using TestSupport::ReplacedEntry;
using Util::GLScreenshotHandler;
using Util::ScreenshotWriter;

constexpr int Width = 1920;
constexpr int Height = 1080;

using Clock = std::chrono::steady_clock;

/// Adds the time of a call to a sum. Waits for the driver first, so that each call pays for its own work.
template <typename Function, typename... Arguments>
void Timed(double& milliseconds, Function function, Arguments... arguments)
{
    glFinish();
    const auto start = Clock::now();
    function(arguments...);
    glFinish();
    milliseconds += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// Milliseconds of each step.
struct Steps
{
    double read = 0.0;
    double shader = 0.0;
    double blit = 0.0;
    double draw = 0.0;
};

std::string OutputName()
{
    return (std::filesystem::temp_directory_path() / "util-benchmark-capture").string();
}

template <typename Capture>
void Run(benchmark::State& state, ScreenshotWriter::PNGEncoding encoding, int samples, Capture capture)
{
    const TestSupport::GLContext context({.width = Width, .height = Height, .samples = samples});
    TestSupport::DrawQuadrants(Width, Height);
    glFinish();
    ScreenshotWriter::SetPNGEncoding(encoding);
    GLScreenshotHandler handler(ScreenshotWriter::FormatPNG);
    capture(handler);

    Steps steps;
    const ReplacedEntry read(Util::GL::ReadPixels,
                             [&](auto... a) { Timed(steps.read, &glReadPixels, a...); });
    const ReplacedEntry compile(Util::GL::CompileShader,
                                [&](auto... a) { Timed(steps.shader, &glCompileShader, a...); });
    const ReplacedEntry link(Util::GL::LinkProgram,
                             [&](auto... a) { Timed(steps.shader, &glLinkProgram, a...); });
    const ReplacedEntry blit(Util::GL::BlitFramebuffer,
                             [&](auto... a) { Timed(steps.blit, &glBlitFramebuffer, a...); });
    const ReplacedEntry draw(Util::GL::DrawArrays,
                             [&](auto... a) { Timed(steps.draw, &glDrawArrays, a...); });
    for (auto _ : state) {
        if (capture(handler) != 0) {
            state.SkipWithError("capture failed");
            break;
        }
    }
    const auto count = static_cast<double>(state.iterations());
    state.counters["read_ms"] = steps.read / count;
    state.counters["shader_ms"] = steps.shader / count;
    state.counters["blit_ms"] = steps.blit / count;
    state.counters["draw_ms"] = steps.draw / count;

    const Bench::Heap heap;
    capture(handler);
    state.counters["frame_sized_allocations"] = static_cast<double>(heap.FrameSized());
    std::filesystem::remove(OutputName() + ".png");
    std::filesystem::remove(OutputName() + "_depth.png");
    std::filesystem::remove(OutputName() + "_stencil.png");
}

void BM_FullSize(benchmark::State& state, ScreenshotWriter::PNGEncoding encoding, GLbitfield buffer,
                 int samples)
{
    Run(state, encoding, samples,
        [buffer](GLScreenshotHandler& handler) { return handler.TakeScreenshot(OutputName(), buffer); });
}

/// What the handler would cost if it kept no memory from one capture to the next.
void BM_FreshMemory(benchmark::State& state, ScreenshotWriter::PNGEncoding encoding, GLbitfield buffer)
{
    Run(state, encoding, 0, [buffer](GLScreenshotHandler& handler) {
        handler.ReleaseMemory();
        malloc_trim(0); // or the C library would keep it
        return handler.TakeScreenshot(OutputName(), buffer);
    });
}

void BM_Thumbnail(benchmark::State& state, ScreenshotWriter::PNGEncoding encoding, GLbitfield buffer,
                  int samples)
{
    Run(state, encoding, samples, [buffer](GLScreenshotHandler& handler) {
        switch (buffer) {
        case GL_DEPTH_BUFFER_BIT:
            return handler.TakeScreenshotThumbnailDepth(OutputName(), 256, 144);
        case GL_STENCIL_BUFFER_BIT:
            return handler.TakeScreenshotThumbnailStencil(OutputName(), 256, 144);
        default:
            return handler.TakeScreenshotThumbnail(OutputName(), 256, 144);
        }
    });
}

constexpr auto Small = ScreenshotWriter::PNGSmall;
constexpr auto Fast = ScreenshotWriter::PNGFast;

#define CAPTURE(function, name, ...)                                                                         \
    BENCHMARK_CAPTURE(function, name, __VA_ARGS__)->Unit(benchmark::kMillisecond)->UseRealTime()
CAPTURE(BM_FullSize, colour_small, Small, GL_COLOR_BUFFER_BIT, 0);
CAPTURE(BM_FullSize, colour_fast, Fast, GL_COLOR_BUFFER_BIT, 0);
CAPTURE(BM_FreshMemory, colour_fast, Fast, GL_COLOR_BUFFER_BIT);
CAPTURE(BM_FullSize, depth_fast, Fast, GL_DEPTH_BUFFER_BIT, 0);
CAPTURE(BM_FullSize, stencil_fast, Fast, GL_STENCIL_BUFFER_BIT, 0);
CAPTURE(BM_Thumbnail, colour_small, Small, GL_COLOR_BUFFER_BIT, 0);
CAPTURE(BM_Thumbnail, colour_fast, Fast, GL_COLOR_BUFFER_BIT, 0);
CAPTURE(BM_Thumbnail, colour_fast_4_samples, Fast, GL_COLOR_BUFFER_BIT, 4);
CAPTURE(BM_Thumbnail, depth_fast, Fast, GL_DEPTH_BUFFER_BIT, 0);
CAPTURE(BM_Thumbnail, stencil_fast, Fast, GL_STENCIL_BUFFER_BIT, 0);

} // namespace

BENCHMARK_MAIN();
