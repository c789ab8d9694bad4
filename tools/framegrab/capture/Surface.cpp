#include "capture/Surface.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace Framegrab {

std::string WhyNotCaptured(const Driver& driver, EGLDisplay display, EGLSurface surface)
{
    if (HasEntryPoints(EGL::GetCurrentDisplay, EGL::GetCurrentSurface)) {
        if (!driver.HasCurrentContext()) {
            return "a thread swaps without a current context: such a frame is not captured";
        }
        if (EGL::GetCurrentDisplay() != display || EGL::GetCurrentSurface(EGL_DRAW) != surface) {
            return "a surface is swapped that is not the current one: such a frame is not captured";
        }
        if (EGL::GetCurrentSurface(EGL_READ) != surface) {
            return "a surface is swapped while another one is current for reading: such a frame is not "
                   "captured";
        }
        if (driver.CurrentVersion() < 30) {
            const std::string version = driver.CurrentVersionText();
            return "only OpenGL ES 3.0 and later is captured, and this context is \"" + version +
                   "\": the program would have to " +
                   (version.starts_with("OpenGL ES") ? ""
                                                     : "choose EGL_OPENGL_ES_API with eglBindAPI, and ") +
                   "ask eglCreateContext for EGL_CONTEXT_CLIENT_VERSION 3";
        }
        if (HasEntryPoints(GL::GetIntegerv, GL::BindFramebuffer, GL::PixelStorei)) {
            return "";
        }
    }
    return "the driver lacks functions of EGL 1.4 or OpenGL ES 3.0: nothing can be captured";
}

namespace {

/// @return whether there is a pixel to read: where there is none, drivers leave memory as it was
bool HasPixel(EGLint x, EGLint y)
{
    for (const std::uint8_t mark : {std::uint8_t{1}, std::uint8_t{2}}) {
        const std::array<std::uint8_t, 4> before{mark, mark, mark, mark};
        std::array<std::uint8_t, 4> pixel = before;
        GL::ReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
        if (pixel != before) {
            return true;
        }
    }
    return false;
}

/// @param hasPixel  tells it of a distance from the bottom left; so of all that are less
/// @return how many there are, at most as many as `most`
template <typename HasPixelAt>
EGLint CountPixels(EGLint most, HasPixelAt hasPixel)
{
    EGLint least = 0;
    while (least < most) {
        const EGLint middle = least + (most - least) / 2;
        if (hasPixel(middle)) {
            least = middle + 1;
        } else {
            most = middle;
        }
    }
    return least;
}

} // namespace

SurfaceSize ToldSize()
{
    SurfaceSize size;
    EGL::QuerySurface(EGL::GetCurrentDisplay(), EGL::GetCurrentSurface(EGL_DRAW), EGL_WIDTH, &size.width);
    EGL::QuerySurface(EGL::GetCurrentDisplay(), EGL::GetCurrentSurface(EGL_DRAW), EGL_HEIGHT, &size.height);
    return size;
}

SurfaceSize DrawnSize(const SurfaceSize& told, const SurfaceSize& last)
{
    if (!HasEntryPoints(GL::ReadPixels, GL::ReadBuffer, GL::BindBuffer)) {
        return told;
    }
    const Util::QuietErrors quiet; // where the surface is no picture of bytes
    const Util::PackedRead packed;
    const Util::SelectedReadBuffer back(GL_BACK);
    const EGLint width = std::max(told.width, last.width);
    const EGLint height = std::max(told.height, last.height);
    if (!HasPixel(0, 0) || HasPixel(width, 0) || HasPixel(0, height)) {
        return told;
    }
    return {.width = CountPixels(width, [](EGLint x) { return HasPixel(x, 0); }),
            .height = CountPixels(height, [](EGLint y) { return HasPixel(0, y); })};
}

} // namespace Framegrab
