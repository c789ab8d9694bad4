#pragma once

#include "DriverTables.h"
#include "shared/CaptureInterface.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <string>

namespace Framegrab {

/// The driver that a program swaps with, past framegrab's hooks: its functions come from the library that
/// holds the function of EGL that the program called.
class Driver
{
public:
    /// Finds a driver. Not for two threads at a time.
    ///
    /// @param function  one of the functions of its EGL that the program calls
    /// @param lookup    `dlsym`, past the hooks
    Driver(void* function, LookupFunction lookup);

    /// Lets the library's GL and EGL calls on this thread go to this driver, through the tables for the
    /// current context, and keeps the errors that they raise from the program, until the end of the scope.
    class Scope
    {
    public:
        /// @param takenError  receives the error that the program has not asked for yet, if it holds none
        Scope(const Driver& driver, GLenum& takenError);
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
        ~Scope();

    private:
        const Driver& m_driver;
    };

    /// @return the version of OpenGL ES of the current context, e.g. 32; 0 for another API
    [[nodiscard]] int CurrentVersion() const { return m_tables.CurrentVersion(); }

    /// @return path of the library with the driver's EGL
    [[nodiscard]] const std::string& LibraryPath() const { return m_libraryPath; }

    // Null where the driver has no such function.
    PFNEGLGETCURRENTCONTEXTPROC getCurrentContext = nullptr;
    PFNEGLGETCURRENTDISPLAYPROC getCurrentDisplay = nullptr;
    PFNEGLGETCURRENTSURFACEPROC getCurrentSurface = nullptr;
    PFNGLGETSTRINGPROC getString = nullptr;
    PFNGLGETINTEGERVPROC getIntegerv = nullptr;
    PFNGLBINDFRAMEBUFFERPROC bindFramebuffer = nullptr;
    PFNGLCHECKFRAMEBUFFERSTATUSPROC checkFramebufferStatus = nullptr;
    PFNGLGETERRORPROC getError = nullptr;
    PFNGLGETFRAMEBUFFERATTACHMENTPARAMETERIVPROC getFramebufferAttachmentParameteriv = nullptr;
    PFNGLISRENDERBUFFERPROC isRenderbuffer = nullptr;
    PFNGLISTEXTUREPROC isTexture = nullptr;
    PFNGLPIXELSTOREIPROC pixelStorei = nullptr;

private:
    [[nodiscard]] GLenum TakeErrors() const;

    std::string m_libraryPath;
    Core::DriverTables m_tables;
};

} // namespace Framegrab
