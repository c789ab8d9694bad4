#pragma once

#include "EntryPointNames.h"

#include <array>

namespace Core {

/// The dispatch tables of one driver, filled once.
///
/// `eglGetProcAddress` hands out an address for any name it is asked for, so an address says nothing about
/// what a context can do: what it lacks is decided by its version. There is therefore one GL table for each
/// version of OpenGL ES, and the current context chooses among them.
class DriverTables
{
public:
    /// Finds the address of a function of libEGL or libGLESv2 by its name; null when the driver has none.
    using Lookup = void* (*)(const char* name);

    explicit DriverTables(Lookup lookup);

    /// @return the EGL table
    [[nodiscard]] void* const* EGL() const { return m_egl.data(); }

    /// @return the GL table for the calling thread's current context; one of null entries where no OpenGL ES
    ///         context is current
    [[nodiscard]] void* const* GLES() const;

    /// @param version  10 times the major version plus the minor one, e.g. 30; 0 for no context
    [[nodiscard]] void* const* GLES(int version) const;

    /// Version of OpenGL ES that the calling thread's current context offers, e.g. 32; 0 where none is
    /// current or the context is of another API.
    [[nodiscard]] int CurrentVersion() const;

private:
    using GLESTable = std::array<void*, GLESNames.size()>;

    std::array<void*, EGLNames.size()> m_egl{};
    GLESTable m_none{};
    GLESTable m_es20{};
    GLESTable m_es30{};
    GLESTable m_es31{};
};

/// A lookup in the system's libEGL.so.1 and libGLESv2.so.2, opened on the first call and never closed.
void* FindInSystemDriver(const char* name);

} // namespace Core
