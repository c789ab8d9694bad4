#pragma once

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <atomic>
#include <cstdint>

/// What the hook library and the capture library have in common.
///
/// Two libraries, because the first is loaded into every process that the program starts, before anything
/// else and into the scope where all its symbols are looked up: it must bring nothing along. The second, with
/// libframegrab-util and all that it needs, is opened by the first when a process swaps, in a scope of its own.
namespace Framegrab {

using LookupFunction = void* (*)(void* handle, const char* name) noexcept;

/// A swap that is about to happen.
struct SwapCall
{
    EGLDisplay display;
    EGLSurface surface;
    void* driverFunction;  ///< the driver's function that will swap
    LookupFunction lookup; ///< `dlsym`, past the hooks
    const char* session;   ///< the session's folder

    /// Where to tell whether the targets of the next frame are asked for; may be null.
    std::atomic<bool>* areTargetsWanted;

    GLenum* pendingError; ///< an error that the program has not asked for, and GL will not tell again
};

/// Counts the swap and, if its frame was asked for, captures it.
///
/// @return whether `AfterSwapFunction` is to be called when the frame is shown
using BeforeSwapFunction = bool (*)(const SwapCall*);
inline constexpr const char* BeforeSwapName = "FramegrabBeforeSwap";

using AfterSwapFunction = void (*)();
inline constexpr const char* AfterSwapName = "FramegrabAfterSwap";

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

/// An event on a thread that has drawn since the last one.
struct TargetCall
{
    TargetEvent event;
    void* driverFunction; ///< the driver's function that made the thread's context current
    LookupFunction lookup;
    const char* session;
    std::atomic<bool>* areTargetsWanted;
    GLenum* pendingError; ///< as in `SwapCall`
};

/// Captures the framebuffer object that is bound for drawing, if the event means that the program is done
/// with it and the targets of this frame are asked for. To be called before the program's own call.
///
/// @return false when the program is not done with it: what it has drawn counts for the next event
using LeaveTargetFunction = bool (*)(const TargetCall*);
inline constexpr const char* LeaveTargetName = "FramegrabLeaveTarget";

inline constexpr const char* CaptureLibraryName = "libframegrab-capture.so";

} // namespace Framegrab
