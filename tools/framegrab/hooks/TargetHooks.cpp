// The hooks that one of the two hook libraries has besides, for when render targets are asked for: functions
// of GL that draw, and those after which the contents of a framebuffer object may be others.
//
// They are in a library of their own since they stand in the way of every draw call of a program, and of
// programs of any API that has functions of these names.

#include "hooks/TargetHooks.h"

#include "hooks/CaptureLibrary.h"
#include "hooks/Hook.h"
#include "hooks/HookedFunctions.h"

#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <GLES3/gl32.h>
#include <GLES2/gl2ext.h>

#include <atomic>
#include <cstdint>
#include <pthread.h>

namespace Framegrab {

namespace {

/// The latest answer to whether targets are asked for, in one number, so that of two threads' answers the
/// later one wins: twice its `CaptureAnswer::events`, plus 1 where they are not. At first they may be.
std::atomic<std::uint64_t> s_latestAnswer{0};

bool AreTargetsWanted()
{
    return s_latestAnswer.load(std::memory_order_relaxed) % 2 == 0;
}

/// Whether the calling thread has drawn, into whatever framebuffer, since it was last done with one.
[[gnu::tls_model("initial-exec")]] thread_local bool t_hasDrawn = false;

/// The driver's function that made the thread's context current; null before, and where no EGL is at work.
[[gnu::tls_model("initial-exec")]] thread_local void* t_driverFunction = nullptr;

[[gnu::noinline]] void CaptureDrawnTargetIfLeft(const TargetEvent& event)
{
    t_hasDrawn = false;
    if (t_driverFunction) {
        t_hasDrawn =
            !CallCapture(&CaptureLibrary::captureTargetIfLeft, t_driverFunction, &event).isTargetLeft;
    }
}

void CaptureTargetIfLeft(const HookedCall& call, const TargetEvent& event)
{
    if (t_hasDrawn && call.IsOutermost()) {
        CaptureDrawnTargetIfLeft(event);
    }
}

/// A function that draws.
struct Draw
{
    explicit Draw(const HookedCall& call, auto...)
    {
        t_hasDrawn = t_hasDrawn || (call.IsOutermost() && AreTargetsWanted());
    }
};

// -- Functions that take a target away ----------------------------------------------------------------------

template <TargetEvent::Kind Kind>
struct Delete
{
    Delete(const HookedCall& call, GLsizei count, const GLuint* names)
    {
        CaptureTargetIfLeft(call, {.kind = Kind, .count = count, .names = names});
    }
};

struct BindFramebuffer
{
    BindFramebuffer(const HookedCall& call, GLenum target, GLuint framebuffer)
    {
        CaptureTargetIfLeft(call,
                            {.kind = TargetEvent::BindsFramebuffer, .target = target, .object = framebuffer});
    }
};

/// `glInvalidateFramebuffer` and its siblings.
struct Invalidate
{
    Invalidate(const HookedCall& call, GLenum target, auto...)
    {
        CaptureTargetIfLeft(call, {.kind = TargetEvent::Invalidates, .target = target});
    }
};

struct AttachRenderbuffer
{
    AttachRenderbuffer(const HookedCall& call, GLenum target, GLenum attachment,
                       GLenum /*renderbufferTarget*/, GLuint renderbuffer)
    {
        CaptureTargetIfLeft(call, {.kind = TargetEvent::Attaches,
                                   .target = target,
                                   .attachment = attachment,
                                   .objectType = GL_RENDERBUFFER,
                                   .object = renderbuffer});
    }
};

/// `glFramebufferTexture2D` and its siblings, which take how many samples or which slice besides.
struct AttachTexture2D
{
    AttachTexture2D(const HookedCall& call, GLenum target, GLenum attachment, GLenum textureTarget,
                    GLuint texture, GLint level, auto...)
    {
        const bool isFace = textureTarget >= GL_TEXTURE_CUBE_MAP_POSITIVE_X &&
                            textureTarget <= GL_TEXTURE_CUBE_MAP_NEGATIVE_Z;
        CaptureTargetIfLeft(call, {.kind = TargetEvent::Attaches,
                                   .target = target,
                                   .attachment = attachment,
                                   .object = texture,
                                   .level = level,
                                   .cubeMapFace = isFace ? static_cast<GLint>(textureTarget) : 0});
    }
};

/// `glFramebufferTexture`, which attaches all layers, and its siblings, which attach one, or one for each
/// view.
struct AttachTexture
{
    AttachTexture(const HookedCall& call, GLenum target, GLenum attachment, GLuint texture, GLint level,
                  GLint layerOrFirstView = 0, auto...)
    {
        CaptureTargetIfLeft(call, {.kind = TargetEvent::Attaches,
                                   .target = target,
                                   .attachment = attachment,
                                   .object = texture,
                                   .level = level,
                                   .layer = layerOrFirstView});
    }
};

class MakeCurrent
{
public:
    MakeCurrent(const HookedCall& call, EGLDisplay, EGLSurface, EGLSurface, EGLContext context) : m_call(call)
    {
        CaptureTargetIfLeft(call, {.kind = TargetEvent::MakesCurrent, .context = context});
    }

    [[nodiscard]] EGLBoolean Return(EGLBoolean isCurrent) const
    {
        if (isCurrent && m_call.IsOutermost()) {
            t_driverFunction = m_call.DriverFunction();
        }
        return isCurrent;
    }

private:
    const HookedCall& m_call;
};

/// A child that goes on without a new program counts its frames anew.
void OnFork()
{
    s_latestAnswer = 0;
    t_hasDrawn = false;
}

__attribute__((constructor)) void OnLoad()
{
    pthread_atfork(nullptr, nullptr, &OnFork);
}

} // namespace

void CaptureTargetBeforeSwap() noexcept
{
    if (t_hasDrawn) {
        CaptureDrawnTargetIfLeft({.kind = TargetEvent::Swaps});
    }
}

void LearnWhetherTargetsAreWanted(const CaptureAnswer& answer) noexcept
{
    const std::uint64_t told = 2 * answer.events + (answer.areTargetsWanted ? 0 : 1);
    std::uint64_t latest = s_latestAnswer;
    while (latest < told && !s_latestAnswer.compare_exchange_weak(latest, told)) {
    }
}

} // namespace Framegrab

using namespace Framegrab;

FRAMEGRAB_HOOK(TARGET_FUNCTIONS, TargetFunctions)
