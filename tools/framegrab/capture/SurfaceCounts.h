#pragma once

#include <EGL/egl.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace Framegrab {

struct SurfaceSize
{
    EGLint width = 0; ///< in pixels
    EGLint height = 0;

    bool operator==(const SurfaceSize&) const = default;
};

/// A surface that the process shows frames with; of a window, all those that it has had, one after the other.
struct CountedSurface
{
    /// @return how many frames that were asked for by triggers have been shown
    [[nodiscard]] std::uint64_t Served() const { return asked - (triggered > swaps ? 1 : 0); }

    std::uint32_t number = 0;    ///< from 1, in the order of the first swaps; 0 before that
    std::uint64_t swaps = 0;     ///< so far; the frame being drawn is the next
    std::uint32_t targets = 0;   ///< framebuffer objects drawn so far in the frame being drawn
    bool areTargetsWhole = true; ///< of the frame being drawn
    std::uint64_t asked = 0;     ///< frames that were taken for triggers
    std::uint64_t triggered = 0; ///< the last of them
    std::uint64_t lastFrame = 0; ///< that was captured
    SurfaceSize lastSize;        ///< of that frame
};

/// Tells the surfaces of a process apart, and counts the frames of each.
///
/// A handle may be another surface's once its surface was destroyed, and a window that is resized may get a
/// new surface, which goes on with its number and count.
class SurfaceCounts
{
public:
    /// @param window  the native window that the surface was made for: its number or its address
    void AfterWindowSurface(EGLDisplay display, EGLSurface surface, std::uintptr_t window);
    void BeforeDestruction(EGLDisplay display, EGLSurface surface);

    /// @return a surface that is swapped, with its number
    CountedSurface& OfSwap(EGLDisplay display, EGLSurface surface);

    /// The surface that a framebuffer object is drawn for: the current one, if it shows frames. What does not
    /// may be there only for a context to be current; then it is the first.
    ///
    /// @param surface  the current one, or `EGL_NO_SURFACE`
    CountedSurface& OfTarget(EGLDisplay display, EGLSurface surface);

    /// @return the surface of a number; null when there is none yet
    [[nodiscard]] const CountedSurface* OfNumber(std::uint32_t number) const;

    /// @return whether there is a surface of which this holds, be it one that has not been swapped yet
    [[nodiscard]] bool Any(const std::function<bool(const CountedSurface&)>& holds) const;

private:
    using Handle = std::pair<EGLDisplay, EGLSurface>;
    using Window = std::pair<EGLDisplay, std::uintptr_t>;

    std::vector<std::shared_ptr<CountedSurface>> m_numbered; ///< the first has the number 1
    CountedSurface m_firstToCome; ///< stands for the first surface as long as none has a number
    std::map<Handle, std::shared_ptr<CountedSurface>> m_byHandle; ///< of those not destroyed
    std::map<Window, std::shared_ptr<CountedSurface>> m_byWindow;
};

} // namespace Framegrab
