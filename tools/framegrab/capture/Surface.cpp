#include "capture/Surface.h"

#include "Util/GLState.h"

namespace Framegrab {

using Util::GetInteger;

std::string WhyNotCaptured(const Driver& driver, EGLDisplay display, EGLSurface surface)
{
    if (HasEntryPoints(EGL::GetCurrentDisplay, EGL::GetCurrentSurface)) {
        if (!driver.HasCurrentContext()) {
            return "a thread swaps without a current context: such a frame is not captured";
        }
        if (EGL::GetCurrentDisplay() != display || EGL::GetCurrentSurface(EGL_DRAW) != surface) {
            return "a surface is swapped that is not the current one: such a frame is not captured";
        }
        if (driver.CurrentVersion() < 30) {
            return "only OpenGL ES 3.0 and later is captured, and this context is \"" +
                   driver.CurrentVersionText() + "\"";
        }
        if (HasEntryPoints(GL::GetIntegerv, GL::BindFramebuffer, GL::PixelStorei)) {
            return "";
        }
    }
    return "the driver lacks functions of EGL 1.4 or OpenGL ES 3.0: nothing can be captured";
}

std::string SurfaceFormat(const BufferKind& kind)
{
    return FormatOf(kind, [](const Component& component) { return GetInteger(component.surfaceBits); });
}

SurfaceBinding::SurfaceBinding()
    : m_drawFramebuffer(GetInteger(GL_DRAW_FRAMEBUFFER_BINDING)),
      m_readFramebuffer(GetInteger(GL_READ_FRAMEBUFFER_BINDING))
{
    GL::BindFramebuffer(GL_FRAMEBUFFER, 0);
}

SurfaceBinding::~SurfaceBinding()
{
    GL::BindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(m_drawFramebuffer));
    GL::BindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(m_readFramebuffer));
}

} // namespace Framegrab
