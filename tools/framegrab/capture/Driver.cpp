#include "capture/Driver.h"

#include "Core/KHRLayer.h"

#include <dlfcn.h>
#include <string_view>

namespace Framegrab {

namespace {

// Where `Find` looks, while a driver's tables are being filled.
LookupFunction s_lookup = nullptr;
void* s_library = nullptr;

void* Find(const char* name)
{
    const bool isEGL = std::string_view(name).starts_with("egl");
    if (isEGL) {
        void* const function = s_library ? s_lookup(s_library, name) : nullptr;
        return function ? function : s_lookup(RTLD_DEFAULT, name);
    }
    // The driver's word before a library's: another driver's libGLESv2 may be in the process as well. What
    // the context does not have is left out by its version.
    const auto getProcAddress = reinterpret_cast<PFNEGLGETPROCADDRESSPROC>(Find("eglGetProcAddress"));
    if (void* const function = getProcAddress ? reinterpret_cast<void*>(getProcAddress(name)) : nullptr) {
        return function;
    }
    // Before EGL 1.5, eglGetProcAddress may know extensions only.
    void* const library = dlopen("libGLESv2.so.2", RTLD_LAZY | RTLD_NOLOAD);
    void* const function = library ? s_lookup(library, name) : nullptr;
    return function;
}

template <typename Function>
Function FindAs(const char* name)
{
    return reinterpret_cast<Function>(Find(name));
}

constexpr void* Nothing[Core::GLESNames.size()]{};

thread_local void* const* t_gles = Nothing;
thread_local void* const* t_egl = Nothing;

/// @return path of the library that a function is in
std::string LibraryOf(void* function)
{
    Dl_info holder{};
    return dladdr(function, &holder) != 0 && holder.dli_fname ? holder.dli_fname : "";
}

/// @return `Find`, made to look for the driver in a library
Core::DriverTables::Lookup FindIn(const std::string& library, LookupFunction lookup)
{
    s_lookup = lookup;
    s_library = dlopen(library.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    return &Find;
}

} // namespace

Driver::Driver(void* function, LookupFunction lookup)
    : m_libraryPath(LibraryOf(function)), m_tables(FindIn(m_libraryPath, lookup))
{
    getCurrentContext = FindAs<PFNEGLGETCURRENTCONTEXTPROC>("eglGetCurrentContext");
    getCurrentDisplay = FindAs<PFNEGLGETCURRENTDISPLAYPROC>("eglGetCurrentDisplay");
    getCurrentSurface = FindAs<PFNEGLGETCURRENTSURFACEPROC>("eglGetCurrentSurface");
    getString = FindAs<PFNGLGETSTRINGPROC>("glGetString");
    getIntegerv = FindAs<PFNGLGETINTEGERVPROC>("glGetIntegerv");
    bindFramebuffer = FindAs<PFNGLBINDFRAMEBUFFERPROC>("glBindFramebuffer");
    checkFramebufferStatus = FindAs<PFNGLCHECKFRAMEBUFFERSTATUSPROC>("glCheckFramebufferStatus");
    getError = FindAs<PFNGLGETERRORPROC>("glGetError");
    getFramebufferAttachmentParameteriv =
        FindAs<PFNGLGETFRAMEBUFFERATTACHMENTPARAMETERIVPROC>("glGetFramebufferAttachmentParameteriv");
    isRenderbuffer = FindAs<PFNGLISRENDERBUFFERPROC>("glIsRenderbuffer");
    isTexture = FindAs<PFNGLISTEXTUREPROC>("glIsTexture");
    pixelStorei = FindAs<PFNGLPIXELSTOREIPROC>("glPixelStorei");
}

/// Takes errors away.
///
/// @return the first; `GL_NO_ERROR` when there was none
GLenum Driver::TakeErrors() const
{
    const GLenum first = getError ? getError() : GL_NO_ERROR;
    // There is one for each kind at most, except that a lost context may tell of it without end.
    for (int i = 0; i < 16 && first != GL_NO_ERROR && getError() != GL_NO_ERROR; ++i) {
    }
    return first;
}

Driver::Scope::Scope(const Driver& driver, GLenum& takenError) : m_driver(driver)
{
    const GLenum error = driver.TakeErrors();
    if (takenError == GL_NO_ERROR) {
        takenError = error;
    }
    t_gles = driver.m_tables.GLES(driver.CurrentVersion());
    t_egl = driver.m_tables.EGL();
}

Driver::Scope::~Scope()
{
    t_gles = Nothing;
    t_egl = Nothing;
    [[maybe_unused]] const GLenum ours = m_driver.TakeErrors();
}

} // namespace Framegrab

namespace Core {

// In place of the host runtime's own, which finds the system's driver by itself.

void* const* KHRLayer::GLESProc()
{
    return Framegrab::t_gles;
}

void* const* KHRLayer::EGLProc()
{
    return Framegrab::t_egl;
}

} // namespace Core
