// GLX, which shows the frames of programs that do not use EGL. None is captured; the user is told why.

#include "hooks/CaptureLibrary.h"
#include "hooks/GLXPrototypes.h"
#include "hooks/Hook.h"
#include "hooks/HookedFunctions.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <dlfcn.h>

namespace Framegrab {

namespace {

/// @return what makes the program's toolkit use EGL; null where nothing is known to
const char* VariableForEGL()
{
    struct Toolkit
    {
        const char* library;
        const char* variable;
    };
    constexpr Toolkit Toolkits[]{
        {"libSDL2-2.0.so.0", "SDL_VIDEO_X11_FORCE_EGL=1"},
        {"libSDL3.so.0", "SDL_VIDEO_FORCE_EGL=1"},
        {"libQt5XcbQpa.so.5", "QT_XCB_GL_INTEGRATION=xcb_egl"},
        {"libQt6XcbQpa.so.6", "QT_XCB_GL_INTEGRATION=xcb_egl"},
        {"libgtk-4.so.1", "GDK_DEBUG=gl-egl,gl-gles"},
    };
    for (const Toolkit& toolkit : Toolkits) {
        if (void* const library = dlopen(toolkit.library, RTLD_LAZY | RTLD_NOLOAD)) {
            dlclose(library);
            return toolkit.variable;
        }
    }
    return nullptr;
}

void SayThatItIsNotCaptured()
{
    const UndisturbedThread undisturbed;
    const char* const variable = VariableForEGL();
    char text[512];
    std::snprintf(text, sizeof(text), "%.100s shows frames through GLX, which are not captured%s%s%s",
                  program_invocation_short_name, variable ? "; " : "", variable ? variable : "",
                  variable ? " in its environment makes it use EGL" : "");
    SayToUser(text);
}

struct SwapThroughGLX
{
    SwapThroughGLX(const HookedCall& call, _XDisplay*, unsigned long)
    {
        static std::atomic<bool> s_isSaid{false};
        if (call.IsOutermost() && !s_isSaid.exchange(true)) {
            SayThatItIsNotCaptured();
        }
    }
};

} // namespace

} // namespace Framegrab

using namespace Framegrab;

FRAMEGRAB_HOOK(GLX_FUNCTIONS, GLXFunctions)
