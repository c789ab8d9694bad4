// The library that framegrab preloads: it stands between a program and the functions that show a frame, and
// before the one that tells of errors, which a capture uses itself.
//
// A program gets at them in three ways, and each is seen to here: it links them (the functions exported below
// come before the driver's), looks them up with dlsym, or asks eglGetProcAddress.
//
// It runs in processes of any kind, also before their constructors and inside their memory allocator's
// start-up. So: no C++ runtime, no memory, no lock on the way of a symbol look-up, and everything that it
// does not hook goes through as if it were not there.
//
// Not seen: the swaps of a library that links EGL and is opened with RTLD_DEEPBIND, which finds its own
// libraries before everybody else's.

#include "hooks/Hooks.h"

#include "shared/SessionRecords.h"

#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl3.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <pthread.h>

namespace Framegrab {

namespace {

char s_session[PATH_MAX];

[[gnu::tls_model("initial-exec")]] thread_local GLenum t_pendingError = GL_NO_ERROR;

} // namespace

CaptureContext ContextOf(void* driverFunction) noexcept
{
    return {.session = s_session, .lookup = RealDlsym(), .driverFunction = driverFunction};
}

void TakeIn(const CaptureAnswer& answer) noexcept
{
    if (t_pendingError == GL_NO_ERROR) {
        t_pendingError = answer.takenError;
    }
    LearnWhetherTargetsAreWanted(answer);
}

[[gnu::tls_model("initial-exec")]] constinit thread_local int HookedCall::s_depth = 0;

// Without hooks for targets; TargetHooks.cpp defines them anew.

[[gnu::weak]] const HookedName* FindTargetHook(const char*) noexcept
{
    return nullptr;
}

[[gnu::weak]] void CaptureTargetBeforeSwap() noexcept {}

[[gnu::weak]] void LearnWhetherTargetsAreWanted(const CaptureAnswer&) noexcept {}

// -- The C library's dlsym ----------------------------------------------------------------------------------

LookupFunction RealDlsym() noexcept
{
    static std::atomic<LookupFunction> s_real{nullptr};
    LookupFunction real = s_real.load(std::memory_order_relaxed);
    // Since 2.34 in libc itself; before, in libdl, with the version of the architecture's first release.
    for (const char* version : {"GLIBC_2.34", "GLIBC_2.2.5", "GLIBC_2.17", "GLIBC_2.0"}) {
        if (real) {
            break;
        }
        real = reinterpret_cast<LookupFunction>(dlvsym(RTLD_NEXT, "dlsym", version));
        s_real.store(real, std::memory_order_relaxed);
    }
    return real;
}

// -- The capture library ------------------------------------------------------------------------------------

namespace {

CaptureLibrary s_capture{};

void LoadCaptureLibrary()
{
    // Beside this library, and found through the links that may have led here: it looks for its own libraries
    // beside itself.
    Dl_info self{};
    char path[PATH_MAX];
    if (s_session[0] == '\0' || dladdr(reinterpret_cast<void*>(&LoadCaptureLibrary), &self) == 0 ||
        !realpath(self.dli_fname, path)) {
        return;
    }
    char* const name = std::strrchr(path, '/') + 1;
    const auto room = static_cast<std::size_t>(path + sizeof(path) - name);
    if (static_cast<std::size_t>(std::snprintf(name, room, "%s", CaptureLibraryName)) >= room) {
        return;
    }
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library) {
        char text[1024];
        std::snprintf(text, sizeof(text), "nothing can be captured: %s", dlerror());
        AppendRecord(s_session, RecordKind::FirstSwap, {});
        AppendRecord(s_session, RecordKind::Message, {.text = text});
        return;
    }
    s_capture.beforeSwap = reinterpret_cast<BeforeSwapFunction>(RealDlsym()(library, BeforeSwapName));
    s_capture.afterSwap = reinterpret_cast<AfterSwapFunction>(RealDlsym()(library, AfterSwapName));
    s_capture.captureTargetIfLeft =
        reinterpret_cast<CaptureTargetIfLeftFunction>(RealDlsym()(library, CaptureTargetIfLeftName));
}

} // namespace

const CaptureLibrary& Capture()
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, &LoadCaptureLibrary);
    return s_capture;
}

namespace {

/// A swap of the program, from before to after.
class Swap
{
public:
    Swap(EGLDisplay display, EGLSurface surface, void* driverFunction)
    {
        if (!m_call.IsPrograms()) {
            return;
        }
        const SavedErrno savedErrno;
        const UndisturbedThread undisturbed;
        CaptureTargetBeforeSwap();
        if (const BeforeSwapFunction beforeSwap = Capture().beforeSwap) {
            const CaptureContext context = ContextOf(driverFunction);
            const CaptureAnswer answer = beforeSwap(&context, display, surface);
            TakeIn(answer);
            m_isAfterWanted = answer.tellWhenShown;
        }
    }

    ~Swap()
    {
        if (m_isAfterWanted) {
            const SavedErrno savedErrno;
            const UndisturbedThread undisturbed;
            Capture().afterSwap();
        }
    }

    Swap(const Swap&) = delete;
    Swap& operator=(const Swap&) = delete;

private:
    const HookedCall m_call;
    bool m_isAfterWanted = false;
};

// -- Hooks --------------------------------------------------------------------------------------------------

EGLBoolean SwapBuffers(PFNEGLSWAPBUFFERSPROC real, EGLDisplay display, EGLSurface surface)
{
    const Swap swap(display, surface, reinterpret_cast<void*>(real));
    return real(display, surface);
}

EGLBoolean SwapBuffersWithDamage(PFNEGLSWAPBUFFERSWITHDAMAGEKHRPROC real, EGLDisplay display,
                                 EGLSurface surface, const EGLint* rectangles, EGLint count)
{
    const Swap swap(display, surface, reinterpret_cast<void*>(real));
    return real(display, surface, rectangles, count);
}

GLenum GetError(PFNGLGETERRORPROC real)
{
    const GLenum pending = t_pendingError;
    t_pendingError = GL_NO_ERROR;
    return pending != GL_NO_ERROR ? pending : real();
}

void* HookFor(const char* name, void* real);

__eglMustCastToProperFunctionPointerType GetProcAddress(PFNEGLGETPROCADDRESSPROC real, const char* name)
{
    const auto function = real(name);
    void* const hook = name && function ? HookFor(name, reinterpret_cast<void*>(function)) : nullptr;
    return hook ? reinterpret_cast<__eglMustCastToProperFunctionPointerType>(hook) : function;
}

using SwapHooks = Hooks<&SwapBuffers, PFNEGLSWAPBUFFERSPROC>;
using DamageHooks = Hooks<&SwapBuffersWithDamage, PFNEGLSWAPBUFFERSWITHDAMAGEKHRPROC>;
using ErrorHooks = Hooks<&GetError, PFNGLGETERRORPROC>;
using LookupHooks = Hooks<&GetProcAddress, PFNEGLGETPROCADDRESSPROC>;

constexpr std::array<HookedName, 5> HookedNames{{
    {"eglSwapBuffers", &SwapHooks::For, &Exported<&eglSwapBuffers>},
    {"eglSwapBuffersWithDamageKHR", &DamageHooks::For, &Exported<&eglSwapBuffersWithDamageKHR>},
    {"eglSwapBuffersWithDamageEXT", &DamageHooks::For, &Exported<&eglSwapBuffersWithDamageEXT>},
    {"glGetError", &ErrorHooks::For, &Exported<&glGetError>},
    {"eglGetProcAddress", &LookupHooks::For, &Exported<&eglGetProcAddress>},
}};

const HookedName* FindHooked(const char* name) noexcept
{
    for (const HookedName& hooked : HookedNames) {
        if (std::strcmp(hooked.name, name) == 0) {
            return &hooked;
        }
    }
    return FindTargetHook(name);
}

void* HookFor(const char* name, void* real)
{
    const HookedName* const hooked = FindHooked(name);
    return hooked ? hooked->hookFor(real) : nullptr;
}

/// Finds the function behind one that is exported here.
void* FindDriverFunction(const char* name) noexcept
{
    if (void* const function = RealDlsym()(RTLD_NEXT, name)) {
        return function;
    }
    // Not among the libraries that everybody sees: the driver came with a library that was opened for itself.
    for (const char* library :
         {"libEGL.so.1", "libEGL.so", "libGLESv2.so.2", "libGLESv2.so", "libOpenGL.so.0", "libGL.so.1"}) {
        void* const handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
        void* const function = handle ? RealDlsym()(handle, name) : nullptr;
        if (handle) {
            dlclose(handle);
        }
        if (function) {
            dlerror(); // the program must not find the error of a look-up that it did not make
            return function;
        }
    }
    return nullptr;
}

__attribute__((constructor)) void OnLoad()
{
    const char* const session = std::getenv(SessionVariable);
    const std::size_t size = session ? std::strlen(session) + 1 : 0;
    if (session && size <= sizeof(s_session)) {
        std::memcpy(s_session, session, size);
        AppendRecord(s_session, RecordKind::HooksLoaded, {});
    }
}

} // namespace

void* FindHookOfExported(const char* name) noexcept
{
    void* const function = FindDriverFunction(name);
    return function ? HookFor(name, function) : nullptr;
}

} // namespace Framegrab

using namespace Framegrab;

FRAMEGRAB_EXPORT EGLBoolean eglSwapBuffers(EGLDisplay dpy, EGLSurface surface)
{
    static std::atomic<void*> s_hook{nullptr};
    const auto hook = HookOfExported<PFNEGLSWAPBUFFERSPROC>(s_hook, "eglSwapBuffers");
    return hook ? hook(dpy, surface) : EGL_FALSE;
}

FRAMEGRAB_EXPORT EGLBoolean eglSwapBuffersWithDamageKHR(EGLDisplay dpy, EGLSurface surface,
                                                        const EGLint* rects, EGLint n_rects)
{
    static std::atomic<void*> s_hook{nullptr};
    const auto hook =
        HookOfExported<PFNEGLSWAPBUFFERSWITHDAMAGEKHRPROC>(s_hook, "eglSwapBuffersWithDamageKHR");
    return hook ? hook(dpy, surface, rects, n_rects) : EGL_FALSE;
}

FRAMEGRAB_EXPORT EGLBoolean eglSwapBuffersWithDamageEXT(EGLDisplay dpy, EGLSurface surface,
                                                        const EGLint* rects, EGLint n_rects)
{
    static std::atomic<void*> s_hook{nullptr};
    const auto hook =
        HookOfExported<PFNEGLSWAPBUFFERSWITHDAMAGEEXTPROC>(s_hook, "eglSwapBuffersWithDamageEXT");
    return hook ? hook(dpy, surface, rects, n_rects) : EGL_FALSE;
}

FRAMEGRAB_EXPORT GLenum glGetError()
{
    static std::atomic<void*> s_hook{nullptr};
    const auto hook = HookOfExported<PFNGLGETERRORPROC>(s_hook, "glGetError");
    return hook ? hook() : GL_NO_ERROR;
}

FRAMEGRAB_EXPORT __eglMustCastToProperFunctionPointerType eglGetProcAddress(const char* procname)
{
    static std::atomic<void*> s_hook{nullptr};
    const auto hook = HookOfExported<PFNEGLGETPROCADDRESSPROC>(s_hook, "eglGetProcAddress");
    return hook ? hook(procname) : nullptr;
}

/// What dlsym gives where the C library's would not give what is wanted here.
///
/// @return whether `found` is the result; the C library decides if not
static bool LookUpHooked(void* handle, const char* name, void*& found) noexcept
{
    const HookedName* const hooked = handle != RTLD_NEXT ? FindHooked(name) : nullptr;
    if (!hooked || (handle == RTLD_DEFAULT && !hooked->exported)) {
        return false;
    }
    void* const exported = hooked->exported ? hooked->exported() : nullptr;
    found = handle != RTLD_DEFAULT ? RealDlsym()(handle, name) : exported;
    if (found != exported || !exported) {
        found = found ? hooked->hookFor(found) : nullptr;
        return true;
    }
    // Exported here or not: where no driver has it, there is nothing to find.
    if (!FindDriverFunction(name)) {
        found = nullptr;
        return true;
    }
    return false;
}

// What RTLD_NEXT and RTLD_DEFAULT mean depends on who calls, and the C library tells that by the return
// address. So the call goes on as a jump, whatever the optimisation: GCC makes one at -O2, which the build
// file sets for this file. The functions exported above are found by the C library itself then.
#ifdef __clang__
#define JUMP [[clang::musttail]] return
#else
#define JUMP return
#endif

FRAMEGRAB_EXPORT void* dlsym(void* handle, const char* name) noexcept
{
    void* found = nullptr;
    if (LookUpHooked(handle, name, found)) {
        return found;
    }
    JUMP RealDlsym()(handle, name);
}
