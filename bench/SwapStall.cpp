// How long a swap holds up its thread when framegrab captures the frame, beside a plain glReadPixels of the
// same window into memory that was used before. Run by bench/framegrab-stall, under framegrab: every second
// frame is captured, and the others tell what a swap takes without.

#define EGL_EGLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

constexpr EGLint Width = 1280;
constexpr EGLint Height = 720;
constexpr int Rounds = 200;

/// Milliseconds that something takes when all that was drawn before is done.
template <typename Operation>
double Time(Operation operation)
{
    static float s_shade = 0;
    s_shade += 0.001F;
    glClearColor(s_shade, 0.5F, 0.25F, 1);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    glFinish();
    std::this_thread::sleep_for(
        std::chrono::milliseconds(10)); // so that writing does not share the processor
    const auto start = std::chrono::steady_clock::now();
    operation();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> times)
{
    std::nth_element(times.begin(), times.begin() + Rounds / 2, times.end());
    return times[Rounds / 2];
}

} // namespace

int main()
{
    EGLDisplay display = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    eglInitialize(display, nullptr, nullptr);
    const EGLint wanted[]{
        EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_ALPHA_SIZE, 8, EGL_DEPTH_SIZE, 24, EGL_STENCIL_SIZE, 8,
        EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    eglChooseConfig(display, wanted, &config, 1, &count);
    const EGLint size[]{EGL_WIDTH, Width, EGL_HEIGHT, Height, EGL_NONE};
    const EGLint version[]{EGL_CONTEXT_MAJOR_VERSION, 3, EGL_NONE};
    EGLSurface surface = eglCreatePbufferSurface(display, config, size);
    EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
    if (eglMakeCurrent(display, surface, surface, context) != EGL_TRUE) {
        std::fputs("no context\n", stderr);
        return 1;
    }
    std::vector<unsigned char> pixels(std::size_t{4} * Width * Height);
    std::vector<double> reading;
    std::vector<double> plain;
    std::vector<double> captured;
    for (int i = 0; i < Rounds; ++i) {
        reading.push_back(
            Time([&] { glReadPixels(0, 0, Width, Height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data()); }));
        captured.push_back(Time([&] { eglSwapBuffers(display, surface); }));
        plain.push_back(Time([&] { eglSwapBuffers(display, surface); }));
    }
    const double stall = Median(captured) - Median(plain);
    std::printf("%.2f ms, glReadPixels %.2f ms, ratio %.2f\n", stall, Median(reading),
                stall / Median(reading));
}
