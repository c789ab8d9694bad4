#pragma once

#include "Util/GLState.h"
#include "capture/Driver.h"
#include "capture/SurfaceCounts.h"

#include <string>

/// The window surface that a thread swaps. Calls of the thread go to its driver.
namespace Framegrab {

/// @return why a frame of this surface cannot be captured; empty when it can
std::string WhyNotCaptured(const Driver& driver, EGLDisplay display, EGLSurface surface);

/// @return what EGL says of the surface that is current for drawing
SurfaceSize ToldSize();

/// The size in which the frame was drawn that is about to be shown. While a window is resized, EGL may tell
/// the new size already when the frame still has the old one, and what is read beyond that is not defined.
///
/// @param told  what EGL says
/// @param last  the size of an earlier frame
/// @return `told` where that cannot be found out
/// @note The surface has to be bound for reading.
SurfaceSize DrawnSize(const SurfaceSize& told, const SurfaceSize& last);

/// Binds the window surface for drawing and reading until the end of the scope.
class SurfaceBinding
{
public:
    SurfaceBinding() { Util::BindFramebuffer<GL_FRAMEBUFFER>(0); }

private:
    Util::SavedDrawFramebuffer m_draw;
    Util::SavedReadFramebuffer m_read;
};

} // namespace Framegrab
