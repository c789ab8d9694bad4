// dlsym, eglGetProcAddress and glXGetProcAddress, as the program finds them.
//
// No lock and no memory on this way: the program may be anywhere when it looks up a symbol.
//
// Not seen: the swaps of a library that links EGL and is opened with RTLD_DEEPBIND, which finds its own
// libraries before everybody else's.

#include "hooks/Lookup.h"

#include "hooks/GLXPrototypes.h"
#include "hooks/Hook.h"
#include "hooks/HookedFunctions.h"

#include <EGL/egl.h>

#include <atomic>
#include <cstring>
#include <dlfcn.h>

namespace Framegrab {

namespace {

/// Whether a name is one as EGL, GL and GLX have them. Whoever looks up another is not kept waiting, and may
/// be a sanitizer's runtime, which is not ready for the calls that follow.
bool IsNameOfGL(const char* name) noexcept
{
    name += *name == 'e' ? 1 : 0;
    return name[0] == 'g' && name[1] == 'l' && name[2] >= 'A' && name[2] <= 'Z';
}

const HookedFunction* FindHooked(const char* name) noexcept
{
    if (!IsNameOfGL(name)) {
        return nullptr;
    }
    for (const std::span<const HookedFunction> functions :
         {LookupFunctions(), SwapFunctions(), SurfaceFunctions(), GLXFunctions(), ErrorFunctions(),
          TargetFunctions()}) {
        for (const HookedFunction& function : functions) {
            if (std::strcmp(function.name, name) == 0) {
                return &function;
            }
        }
    }
    return nullptr;
}

/// `eglGetProcAddress`, and GLX's functions of that kind.
class ProcAddressQuery
{
public:
    using Proc = void (*)();

    ProcAddressQuery(const HookedCall&, const char* name) : m_name(name) {}
    ProcAddressQuery(const HookedCall&, const unsigned char* name)
        : m_name(reinterpret_cast<const char*>(name))
    {}

    [[nodiscard]] Proc Return(Proc function) const
    {
        const HookedFunction* const hooked = m_name && function ? FindHooked(m_name) : nullptr;
        return hooked ? reinterpret_cast<Proc>(hooked->hookFor(reinterpret_cast<void*>(function))) : function;
    }

private:
    const char* const m_name;
};

/// What dlsym gives the program.
struct LookedUp
{
    bool isKnown;   ///< if not, the C library is to decide
    void* function; ///< null when there is none
};

LookedUp LookUp(void* handle, const char* name) noexcept
{
    constexpr LookedUp LeftToTheCLibrary{false, nullptr};
    const HookedFunction* const hooked = handle != RTLD_NEXT ? FindHooked(name) : nullptr;
    void* const exported = hooked && hooked->exported ? hooked->exported() : nullptr;
    if (!hooked || (handle == RTLD_DEFAULT && !exported)) {
        return LeftToTheCLibrary;
    }
    void* const found = handle == RTLD_DEFAULT ? exported : RealDlsym()(handle, name);
    if (found != exported) {
        return {true, found ? hooked->hookFor(found) : nullptr};
    }
    // The export is there in every process. The program is to find it only where it would have found a
    // driver's function without it.
    return found && FindDriverFunction(name) ? LeftToTheCLibrary : LookedUp{true, nullptr};
}

} // namespace

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

void* FindDriverFunction(const char* name) noexcept
{
    if (void* const function = RealDlsym()(RTLD_NEXT, name)) {
        return function;
    }
    // Not among the libraries that everybody sees: the driver came with one that was opened as RTLD_LOCAL.
    for (const char* library : {"libEGL.so.1", "libEGL.so", "libGLESv2.so.2", "libGLESv2.so",
                                "libOpenGL.so.0", "libGL.so.1", "libGLX.so.0"}) {
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

void KeepLoaded(void* function) noexcept
{
    Dl_info holder{};
    if (dladdr(function, &holder) != 0) {
        if (void* const library = dlopen(holder.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE)) {
            dlclose(library);
        }
        dlerror(); // as above
    }
}

} // namespace Framegrab

using namespace Framegrab;

FRAMEGRAB_HOOK(LOOKUP_FUNCTIONS, LookupFunctions)

// What RTLD_NEXT and RTLD_DEFAULT mean depends on who calls, and the C library tells that by the return
// address. So the call goes on as a jump, whatever the optimisation: GCC makes one at -O2, which the build
// file sets for this file. The functions exported here are found by the C library itself then.
#ifdef __clang__
#define JUMP [[clang::musttail]] return
#else
#define JUMP return
#endif

FRAMEGRAB_EXPORT void* dlsym(void* handle, const char* name) noexcept
{
    const LookedUp lookedUp = LookUp(handle, name);
    if (lookedUp.isKnown) {
        return lookedUp.function;
    }
    JUMP RealDlsym()(handle, name);
}
