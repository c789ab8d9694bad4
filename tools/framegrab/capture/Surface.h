#pragma once

#include "capture/Driver.h"
#include "shared/Picture.h"

#include <string>

/// The window surface that a thread swaps. Calls of the thread go to its driver.
namespace Framegrab {

/// @return why a frame of this surface cannot be captured; empty when it can
std::string WhyNotCaptured(const Driver& driver, EGLDisplay display, EGLSurface surface);

/// @return the format of a buffer of the surface, e.g. "R8G8B8A8"; empty when it has no such buffer
std::string SurfaceFormat(const BufferKind& kind);

/// Binds the window surface for drawing and reading until the end of the scope.
class SurfaceBinding
{
public:
    SurfaceBinding();
    SurfaceBinding(const SurfaceBinding&) = delete;
    SurfaceBinding& operator=(const SurfaceBinding&) = delete;
    ~SurfaceBinding();

private:
    GLint m_drawFramebuffer;
    GLint m_readFramebuffer;
};

} // namespace Framegrab
