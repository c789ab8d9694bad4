#include "capture/Driver.h"

#include "Util/GLState.h"

#include <algorithm>
#include <array>
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

// In place of the driver's table, where EGL is to tell another size.
thread_local std::array<void*, Core::EGLNames.size()> t_eglWithSize{};
thread_local PFNEGLQUERYSURFACEPROC t_querySurface = nullptr;
thread_local EGLint t_width = 0;
thread_local EGLint t_height = 0;

EGLBoolean QuerySurface(EGLDisplay display, EGLSurface surface, EGLint attribute, EGLint* value)
{
    if (attribute != EGL_WIDTH && attribute != EGL_HEIGHT) {
        return t_querySurface(display, surface, attribute, value);
    }
    *value = attribute == EGL_WIDTH ? t_width : t_height;
    return EGL_TRUE;
}

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

Driver::Driver(const CaptureContext& context)
    : m_libraryPath(LibraryOf(context.driverFunction)), m_tables(FindIn(m_libraryPath, context.lookup)),
      m_getCurrentContext(FindAs<PFNEGLGETCURRENTCONTEXTPROC>("eglGetCurrentContext")),
      m_getString(FindAs<PFNGLGETSTRINGPROC>("glGetString"))
{}

std::string Driver::Text(GLenum name) const
{
    const auto* const text = m_getString ? reinterpret_cast<const char*>(m_getString(name)) : nullptr;
    return text ? text : "";
}

std::string Driver::Description() const
{
    return "GL_VENDOR: " + Text(GL_VENDOR) + "\nGL_RENDERER: " + Text(GL_RENDERER) +
           "\nGL_VERSION: " + Text(GL_VERSION) + "\nlibrary: " + m_libraryPath;
}

Driver::Calls::Calls(const Driver& driver)
{
    t_gles = driver.m_tables.GLES();
    t_egl = driver.m_tables.EGL();
}

Driver::Calls::~Calls()
{
    t_gles = Nothing;
    t_egl = Nothing;
}

void Driver::Calls::SetSurfaceSize(EGLint width, EGLint height)
{
    t_width = width;
    t_height = height;
    std::copy_n(t_egl, t_eglWithSize.size(), t_eglWithSize.begin());
    for (std::size_t i = 0; i < t_eglWithSize.size(); ++i) {
        if (std::string_view(Core::EGLNames[i]) == "eglQuerySurface") {
            t_querySurface = reinterpret_cast<PFNEGLQUERYSURFACEPROC>(t_eglWithSize[i]);
            t_eglWithSize[i] = reinterpret_cast<void*>(&QuerySurface);
        }
    }
    t_egl = t_eglWithSize.data();
}

KeptErrors::KeptErrors(GLenum& takenError)
{
    const GLenum error = Util::TakeError();
    if (takenError == GL_NO_ERROR) {
        takenError = error;
    }
}

KeptErrors::~KeptErrors()
{
    Util::TakeError();
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
