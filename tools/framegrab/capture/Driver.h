#pragma once

#include "DriverTables.h"
#include "Util/GLDispatch.h"
#include "shared/CaptureInterface.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace Framegrab {

/// The GL functions that the library calls, called as it calls them, and one more.
namespace GL {

using namespace Util::GL;

inline constexpr auto PositionOfCheckFramebufferStatus = static_cast<std::size_t>(
    std::find(Core::GLESNames.begin(), Core::GLESNames.end(), std::string_view("glCheckFramebufferStatus")) -
    Core::GLESNames.begin());
inline constexpr Util::EntryPoint<&Core::KHRLayer::GLESProc, PositionOfCheckFramebufferStatus,
                                  PFNGLCHECKFRAMEBUFFERSTATUSPROC>
    CheckFramebufferStatus{};

} // namespace GL

namespace EGL = Util::EGL;

/// The driver that a program swaps with, past framegrab's hooks: its functions come from the library that
/// holds the function of EGL that the program called.
class Driver
{
public:
    /// Finds a driver. Not for two threads at a time.
    explicit Driver(const CaptureContext& context);

    /// Lets GL and EGL calls on this thread go to this driver, through the tables for the current context,
    /// until the end of the scope.
    class Calls
    {
    public:
        explicit Calls(const Driver& driver);
        Calls(const Calls&) = delete;
        Calls& operator=(const Calls&) = delete;
        ~Calls();

        /// Lets EGL tell this size of every surface.
        void SetSurfaceSize(EGLint width, EGLint height);
    };

    [[nodiscard]] bool HasCurrentContext() const
    {
        return m_getCurrentContext && m_getCurrentContext() != EGL_NO_CONTEXT;
    }
    [[nodiscard]] bool IsCurrent(EGLContext context) const { return m_getCurrentContext() == context; }

    /// @return the version of OpenGL ES of the current context, e.g. 32; 0 for another API
    [[nodiscard]] int CurrentVersion() const { return m_tables.CurrentVersion(); }

    /// @return what the current context says of its version, of whatever API it is
    [[nodiscard]] std::string CurrentVersionText() const { return Text(GL_VERSION); }

    /// @return who the driver of the current context is: lines of a name, ": " and a value
    [[nodiscard]] std::string Description() const;

    /// @return path of the library with the driver's EGL
    [[nodiscard]] const std::string& LibraryPath() const { return m_libraryPath; }

private:
    [[nodiscard]] std::string Text(GLenum name) const;

    std::string m_libraryPath;
    Core::DriverTables m_tables;
    PFNEGLGETCURRENTCONTEXTPROC m_getCurrentContext; ///< null where the driver has none
    PFNGLGETSTRINGPROC m_getString;                  ///< the same
};

/// Keeps errors that GL calls in its scope raise from the program.
class KeptErrors
{
public:
    /// @param takenError  receives the error that the program has not asked for yet, if it holds none
    explicit KeptErrors(GLenum& takenError);
    KeptErrors(const KeptErrors&) = delete;
    KeptErrors& operator=(const KeptErrors&) = delete;
    ~KeptErrors();
};

} // namespace Framegrab
