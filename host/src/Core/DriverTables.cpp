#include "DriverTables.h"

#include <EGL/egl.h>
#include <GLES3/gl31.h>

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <string_view>

namespace Core {

namespace {

constexpr std::size_t PositionOfGetString()
{
    std::size_t position = 0;
    while (GLESNames[position] != std::string_view("glGetString")) {
        ++position;
    }
    return position;
}

} // namespace

DriverTables::DriverTables(Lookup lookup)
{
    const auto find = [lookup](const char* name) { return name ? lookup(name) : nullptr; };

    m_getCurrentContext = reinterpret_cast<void* (*)()>(lookup("eglGetCurrentContext"));
    std::transform(EGLNames.begin(), EGLNames.end(), m_egl.begin(), find);
    std::transform(GLESNames.begin(), GLESNames.end(), m_es31.begin(), find);
    std::copy_n(m_es31.begin(), FirstES31, m_es30.begin());
    std::copy_n(m_es31.begin(), FirstES30, m_es20.begin());
}

void* const* DriverTables::GLES() const
{
    // Asking GL for its version before every call would cost more than most calls; a context keeps its
    // version.
    thread_local const DriverTables* owner = nullptr;
    thread_local void* context = nullptr;
    thread_local void* const* table = nullptr;

    void* const current = m_getCurrentContext ? m_getCurrentContext() : nullptr;
    if (owner != this || context != current || !table) {
        table = GLES(CurrentVersion());
        context = current;
        owner = this;
    }
    return table;
}

void* const* DriverTables::GLES(int version) const
{
    if (version >= 31) {
        return m_es31.data();
    }
    if (version >= 30) {
        return m_es30.data();
    }
    return version >= 20 ? m_es20.data() : m_none.data();
}

int DriverTables::CurrentVersion() const
{
    const auto getString = reinterpret_cast<PFNGLGETSTRINGPROC>(m_es31[PositionOfGetString()]);
    if (!m_getCurrentContext || !m_getCurrentContext() || !getString) {
        return 0;
    }
    const auto* text = reinterpret_cast<const char*>(getString(GL_VERSION));
    int major = 0;
    int minor = 0;
    // OpenGL ES 3.2, section 20.2: "OpenGL ES N.M vendor-specific information". Desktop GL begins with the
    // number.
    if (!text || std::sscanf(text, "OpenGL ES %d.%d", &major, &minor) != 2) {
        return 0;
    }
    return major * 10 + minor;
}

void* FindInSystemDriver(const char* name)
{
    static void* const egl = dlopen("libEGL.so.1", RTLD_NOW | RTLD_LOCAL);
    static void* const gles = dlopen("libGLESv2.so.2", RTLD_NOW | RTLD_LOCAL);

    for (void* library : {egl, gles}) {
        void* const address = library ? dlsym(library, name) : nullptr;
        if (address) {
            return address;
        }
    }
    // A driver may export the functions of OpenGL ES 2.0 alone and hand out the rest.
    static const auto getProcAddress =
        reinterpret_cast<PFNEGLGETPROCADDRESSPROC>(egl ? dlsym(egl, "eglGetProcAddress") : nullptr);
    return getProcAddress ? reinterpret_cast<void*>(getProcAddress(name)) : nullptr;
}

} // namespace Core
