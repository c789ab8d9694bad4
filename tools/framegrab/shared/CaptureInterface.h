#pragma once

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <cstdint>

/// What the hook library and the capture library have in common.
///
/// Two libraries, because the first is loaded into every process that the program starts, before anything
/// else and into the scope where all its symbols are looked up: it must bring nothing along. The second, with
/// libframegrab-util and all that it needs, is opened by the first when a process swaps, in a scope of its
/// own.
namespace Framegrab {

using LookupFunction = void* (*)(void* handle, const char* name) noexcept;

/// What every call into the capture library is given: where the session and the driver are.
struct CaptureContext
{
    const char* session;   ///< the session's folder
    LookupFunction lookup; ///< `dlsym`, past the hooks
    void* driverFunction; ///< the driver's function that will swap, or that made the thread's context current
};

/// What a call into the capture library found out, for the hooks to act upon.
struct CaptureAnswer
{
    /// An error that the program has not asked for yet, and that GL will not tell again.
    GLenum takenError = GL_NO_ERROR;

    /// Swaps and new surfaces until now: of two threads' answers, the one with more is the later one.
    std::uint64_t events = 0;

    /// Whether targets are asked for of any frame that is being drawn. If not, none is until the next event.
    bool areTargetsWanted = true;

    /// Of a swap: whether `AfterSwapFunction` is to be called when the frame is shown.
    bool tellWhenShown = false;

    /// Of a target: whether the program is done with what it has drawn there. If not, the next event is to be
    /// told as well, whether or not the program draws until then.
    bool isTargetLeft = true;
};

/// Counts a swap that is about to happen and, if its frame was asked for, captures it.
using BeforeSwapFunction = CaptureAnswer (*)(const CaptureContext*, EGLDisplay, EGLSurface);
inline constexpr const char* BeforeSwapName = "FramegrabBeforeSwap";

using AfterSwapFunction = void (*)();
inline constexpr const char* AfterSwapName = "FramegrabAfterSwap";

/// Learns that a surface was made for a native window: the window's first one, or one in place of the last.
///
/// The window is told by its number or its address.
using AfterWindowSurfaceFunction = CaptureAnswer (*)(const CaptureContext*, EGLDisplay, EGLSurface,
                                                     std::uintptr_t window);
inline constexpr const char* AfterWindowSurfaceName = "FramegrabAfterWindowSurface";

/// Learns that a surface's handle may soon be another surface's.
using BeforeSurfaceIsDestroyedFunction = CaptureAnswer (*)(const CaptureContext*, EGLDisplay, EGLSurface);
inline constexpr const char* BeforeSurfaceIsDestroyedName = "FramegrabBeforeSurfaceIsDestroyed";

/// What the program is about to do to a framebuffer object that it has drawn into.
struct TargetEvent
{
    enum Kind
    {
        BindsFramebuffer,     ///< `target`, `object`
        Attaches,             ///< all but `count` and `names`
        Invalidates,          ///< `target`
        DeletesFramebuffers,  ///< `count`, `names`
        DeletesTextures,      ///< the same
        DeletesRenderbuffers, ///< the same
        MakesCurrent,         ///< `context`
        Swaps
    };

    Kind kind;
    GLenum target = GL_DRAW_FRAMEBUFFER;

    GLenum attachment = 0;
    GLenum objectType = GL_TEXTURE; ///< or `GL_RENDERBUFFER`
    GLuint object = 0;
    GLint level = 0;
    GLint cubeMapFace = 0; ///< 0 where the texture is no cube map
    GLint layer = 0;

    GLsizei count = 0;
    const GLuint* names = nullptr;

    EGLContext context = EGL_NO_CONTEXT;
};

/// Captures the framebuffer object that is bound for drawing, if the event means that the program is done
/// with it and the targets of this frame are asked for. To be called before the program's own call, on a
/// thread that has drawn since the last event.
using CaptureTargetIfLeftFunction = CaptureAnswer (*)(const CaptureContext*, const TargetEvent*);
inline constexpr const char* CaptureTargetIfLeftName = "FramegrabCaptureTargetIfLeft";

inline constexpr const char* CaptureLibraryName = "libframegrab-capture.so";

} // namespace Framegrab
