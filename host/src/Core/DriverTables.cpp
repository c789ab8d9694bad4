#include "DriverTables.h"

#include <EGL/egl.h>
#include <GLES3/gl31.h>

#include <algorithm>
#include <dlfcn.h>
#include <string_view>

namespace Core {

namespace {

constexpr auto PositionOfGetString = static_cast<std::size_t>(
    std::find(GLESNames.begin(), GLESNames.end(), std::string_view("glGetString")) - GLESNames.begin());

} // namespace

DriverTables::DriverTables(Lookup lookup)
{
    const auto find = [lookup](const char* name) { return name ? lookup(name) : nullptr; };

    std::transform(EGLNames.begin(), EGLNames.end(), m_egl.begin(), find);
    std::transform(GLESNames.begin(), GLESNames.end(), m_es31.begin(), find);
    std::copy_n(m_es31.begin(), FirstES31, m_es30.begin());
    std::copy_n(m_es31.begin(), FirstES30, m_es20.begin());
}

void* const* DriverTables::GLES() const
{
    return GLES(CurrentVersion());
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

// Asked anew each time: the answer cannot be kept with the context, since a new context may have the handle
// of one that is gone. The text of the version is a look-up in the driver, far cheaper than asking EGL for
// the context, and null where none is current.
int DriverTables::CurrentVersion() const
{
    const auto getString = reinterpret_cast<PFNGLGETSTRINGPROC>(m_es31[PositionOfGetString]);
    const auto* text = getString ? reinterpret_cast<const char*>(getString(GL_VERSION)) : nullptr;

    // OpenGL ES 3.2, section 20.2: "OpenGL ES N.M vendor-specific information". Desktop GL begins with the
    // number.
    constexpr std::string_view Prefix = "OpenGL ES ";
    if (!text || !std::string_view(text).starts_with(Prefix)) {
        return 0;
    }
    const char* const number = text + Prefix.size();
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (!isDigit(number[0]) || number[1] != '.' || !isDigit(number[2])) {
        return 0;
    }
    return (number[0] - '0') * 10 + (number[2] - '0');
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
