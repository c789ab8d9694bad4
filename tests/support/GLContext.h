#pragma once

#include <EGL/egl.h>

namespace TestSupport {

/// An OpenGL ES context on a software driver, current on the calling thread until the end of its scope, with
/// a pixel buffer surface as its default framebuffer. Needs no display server.
///
/// The driver is the system's, Mesa, or the one whose libraries `LD_LIBRARY_PATH` names. Several contexts may
/// live at once; each one's end leaves none current. They are always of the highest version that the driver
/// has, OpenGL ES 3.1 or 3.2: for an earlier one see `OfferedVersion`.
class GLContext
{
public:
    /// What the default framebuffer has: exactly this many bits and samples, not "at least".
    struct Options
    {
        int width = 64;
        int height = 48;
        int redBits = 8;
        int greenBits = 8;
        int blueBits = 8;
        int alphaBits = 8;
        int depthBits = 24;
        int stencilBits = 8;
        int samples = 0;
        bool isFloat = false; ///< colour of `EGL_EXT_pixel_format_float`
        bool isSrgb = false;  ///< encodes linear colours, see `EGL_KHR_gl_colorspace`
        bool debug = false;   ///< a debug context, which reports through `glDebugMessageCallback`
    };

    /// @return whether the driver has such a surface
    static bool IsOffered(const Options& options);

    /// @throws std::runtime_error naming the EGL call that failed, or where the driver has no such surface
    explicit GLContext(const Options& options);
    GLContext() : GLContext(Options()) {}
    GLContext(const GLContext&) = delete;
    GLContext& operator=(const GLContext&) = delete;
    ~GLContext();

    [[nodiscard]] EGLSurface Surface() const { return m_surface; }

private:
    EGLDisplay m_display = EGL_NO_DISPLAY;
    EGLSurface m_surface = EGL_NO_SURFACE;
    EGLContext m_context = EGL_NO_CONTEXT;
};

} // namespace TestSupport
