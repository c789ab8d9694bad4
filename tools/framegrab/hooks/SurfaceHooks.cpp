// The functions that make window surfaces and destroy surfaces: without them, a window that gets a new
// surface would be taken for another window, and a new surface with the handle of an old one for the old one.

#include "hooks/CaptureLibrary.h"
#include "hooks/Hook.h"
#include "hooks/HookedFunctions.h"

#define EGL_EGLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <atomic>
#include <cstdint>

namespace Framegrab {

namespace {

/// A display of a platform whose windows are given by pointers to their numbers.
struct DisplayOfX
{
    std::atomic<EGLDisplay> display;
    std::atomic<EGLenum> platform;
};

DisplayOfX s_displaysOfX[16]{}; ///< more are not known, and their windows are those at different addresses

/// @return `EGL_NONE` where a display's platform is none of X
EGLenum PlatformOf(EGLDisplay display)
{
    for (const DisplayOfX& known : s_displaysOfX) {
        if (known.display == display) {
            return known.platform;
        }
    }
    return EGL_NONE;
}

/// `eglGetPlatformDisplay` and its sibling.
class DisplayQuery
{
public:
    DisplayQuery(const HookedCall&, EGLenum platform, auto...) : m_platform(platform) {}

    [[nodiscard]] EGLDisplay Return(EGLDisplay display) const
    {
        const bool isOfX = m_platform == EGL_PLATFORM_X11_KHR || m_platform == EGL_PLATFORM_XCB_EXT;
        if (isOfX && display != EGL_NO_DISPLAY && PlatformOf(display) == EGL_NONE) {
            for (DisplayOfX& known : s_displaysOfX) {
                EGLDisplay none = EGL_NO_DISPLAY;
                if (known.display.compare_exchange_strong(none, display)) {
                    known.platform = m_platform;
                    break;
                }
            }
        }
        return display;
    }

private:
    const EGLenum m_platform;
};

/// `eglCreateWindowSurface` and its siblings.
class WindowSurfaceCreation
{
public:
    WindowSurfaceCreation(const HookedCall& call, EGLDisplay display, EGLConfig, EGLNativeWindowType window,
                          const EGLint*)
        : m_call(call), m_display(display), m_window(window)
    {}

    /// @param window  on X the address of the window's number, elsewhere the window itself
    WindowSurfaceCreation(const HookedCall& call, EGLDisplay display, EGLConfig, void* window, auto)
        : m_call(call), m_display(display), m_window(reinterpret_cast<std::uintptr_t>(window))
    {
        const EGLenum platform = window ? PlatformOf(display) : EGL_NONE;
        if (platform == EGL_PLATFORM_X11_KHR) {
            m_window = *static_cast<const unsigned long*>(window);
        } else if (platform == EGL_PLATFORM_XCB_EXT) {
            m_window = *static_cast<const std::uint32_t*>(window);
        }
    }

    [[nodiscard]] EGLSurface Return(EGLSurface surface) const
    {
        if (surface != EGL_NO_SURFACE && m_call.IsOutermost()) {
            CallCapture(&CaptureLibrary::afterWindowSurface, m_call.DriverFunction(), m_display, surface,
                        m_window);
        }
        return surface;
    }

private:
    const HookedCall& m_call;
    const EGLDisplay m_display;
    std::uintptr_t m_window;
};

struct SurfaceDestruction
{
    SurfaceDestruction(const HookedCall& call, EGLDisplay display, EGLSurface surface)
    {
        // Before the driver can give its handle to another. Who has neither made a window's surface nor
        // swapped does not need the capture library for this.
        if (call.IsOutermost() && IsCaptureLibraryOpen()) {
            CallCapture(&CaptureLibrary::beforeSurfaceIsDestroyed, call.DriverFunction(), display, surface);
        }
    }
};

} // namespace

} // namespace Framegrab

using namespace Framegrab;

FRAMEGRAB_HOOK(SURFACE_FUNCTIONS, SurfaceFunctions)
