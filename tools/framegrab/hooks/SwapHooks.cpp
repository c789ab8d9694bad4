// The functions that show a frame.

#include "hooks/CaptureLibrary.h"
#include "hooks/Hook.h"
#include "hooks/HookedFunctions.h"
#include "hooks/TargetHooks.h"

#define EGL_EGLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>

namespace Framegrab {

namespace {

/// `eglSwapBuffers` and its siblings, from before to after.
class Swap
{
public:
    Swap(const HookedCall& call, EGLDisplay display, EGLSurface surface, auto...)
    {
        if (call.IsOutermost() && surface != EGL_NO_SURFACE) { // with none, the driver shows nothing
            CaptureTargetBeforeSwap();
            m_tellWhenShown =
                CallCapture(&CaptureLibrary::beforeSwap, call.DriverFunction(), display, surface)
                    .tellWhenShown;
        }
    }
    Swap(const Swap&) = delete;
    Swap& operator=(const Swap&) = delete;
    ~Swap()
    {
        if (m_tellWhenShown) {
            const UndisturbedThread undisturbed;
            OpenCaptureLibrary().afterSwap();
        }
    }

private:
    bool m_tellWhenShown = false;
};

} // namespace

} // namespace Framegrab

using namespace Framegrab;

FRAMEGRAB_HOOK(SWAP_FUNCTIONS, SwapFunctions)
