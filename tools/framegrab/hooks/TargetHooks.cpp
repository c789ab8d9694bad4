// What the hook library has besides when render targets are asked for: hooks for the functions of GL that
// draw, and for those after which the contents of a framebuffer object may be others.
//
// They are in a library of their own since they stand in the way of every draw call of a program, and of
// programs of any API that has functions of these names.

#include "hooks/Hooks.h"

#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <GLES3/gl32.h>
#include <GLES2/gl2ext.h>

#include <cstring>
#include <pthread.h>

namespace Framegrab {

namespace {

/// The latest answer to whether the targets of the frame that is being drawn are asked for: twice the swaps
/// made before it, and 1 more if they are not. They may be before the capture library has been asked.
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
    const SavedErrno savedErrno;
    const UndisturbedThread undisturbed;
    const auto captureTargetIfLeft = t_driverFunction ? Capture().captureTargetIfLeft : nullptr;
    if (captureTargetIfLeft) {
        const CaptureContext context = ContextOf(t_driverFunction);
        const CaptureAnswer answer = captureTargetIfLeft(&context, &event);
        TakeIn(answer);
        t_hasDrawn = !answer.isTargetLeft;
    }
}

/// To be called before the program's call goes on to the driver.
void CaptureTargetIfLeft(const HookedCall& call, const TargetEvent& event)
{
    if (t_hasDrawn && call.IsPrograms()) {
        CaptureDrawnTargetIfLeft(event);
    }
}

// -- Functions that draw ------------------------------------------------------------------------------------

template <auto Function>
struct Draw;

template <typename... Arguments, void (*Function)(Arguments...)>
struct Draw<Function>
{
    static void Handle(void (*real)(Arguments...), Arguments... arguments)
    {
        if (!AreTargetsWanted()) {
            real(arguments...);
            return;
        }
        const HookedCall call;
        t_hasDrawn = t_hasDrawn || call.IsPrograms();
        real(arguments...);
    }
};

/// A function of OpenGL ES, which programs link.
template <auto Function>
constexpr HookedName Drawing(const char* name)
{
    return {name, &Hooks<&Draw<Function>::Handle, decltype(Function)>::For, &Exported<Function>};
}

/// A function of an extension, which programs look up.
template <auto Function>
constexpr HookedName DrawingExtension(const char* name)
{
    return {name, &Hooks<&Draw<Function>::Handle, decltype(Function)>::For, nullptr};
}

// -- Functions that take a target away ----------------------------------------------------------------------

template <TargetEvent::Kind Kind>
void Delete(PFNGLDELETEFRAMEBUFFERSPROC real, GLsizei count, const GLuint* names)
{
    const HookedCall call;
    CaptureTargetIfLeft(call, {.kind = Kind, .count = count, .names = names});
    real(count, names);
}

void BindFramebuffer(PFNGLBINDFRAMEBUFFERPROC real, GLenum target, GLuint framebuffer)
{
    const HookedCall call;
    CaptureTargetIfLeft(call,
                        {.kind = TargetEvent::BindsFramebuffer, .target = target, .object = framebuffer});
    real(target, framebuffer);
}

/// `glInvalidateFramebuffer` and its siblings.
template <typename... Rectangle>
void Invalidate(void (*real)(GLenum, GLsizei, const GLenum*, Rectangle...), GLenum target, GLsizei count,
                const GLenum* attachments, Rectangle... rectangle)
{
    const HookedCall call;
    CaptureTargetIfLeft(call, {.kind = TargetEvent::Invalidates, .target = target});
    real(target, count, attachments, rectangle...);
}

void AttachRenderbuffer(PFNGLFRAMEBUFFERRENDERBUFFERPROC real, GLenum target, GLenum attachment,
                        GLenum renderbufferTarget, GLuint renderbuffer)
{
    const HookedCall call;
    CaptureTargetIfLeft(call, {.kind = TargetEvent::Attaches,
                               .target = target,
                               .attachment = attachment,
                               .objectType = GL_RENDERBUFFER,
                               .object = renderbuffer});
    real(target, attachment, renderbufferTarget, renderbuffer);
}

/// `glFramebufferTexture2D` and its siblings, which take how many samples or which slice besides.
template <typename... More>
void AttachTexture2D(void (*real)(GLenum, GLenum, GLenum, GLuint, GLint, More...), GLenum target,
                     GLenum attachment, GLenum textureTarget, GLuint texture, GLint level, More... more)
{
    const bool isFace =
        textureTarget >= GL_TEXTURE_CUBE_MAP_POSITIVE_X && textureTarget <= GL_TEXTURE_CUBE_MAP_NEGATIVE_Z;
    const HookedCall call;
    CaptureTargetIfLeft(call, {.kind = TargetEvent::Attaches,
                               .target = target,
                               .attachment = attachment,
                               .object = texture,
                               .level = level,
                               .cubeMapFace = isFace ? static_cast<GLint>(textureTarget) : 0});
    real(target, attachment, textureTarget, texture, level, more...);
}

/// `glFramebufferTexture` and its siblings: all layers, one, or one for each view.
///
/// @param more  begins with the layer or the first view, if the function takes one
template <typename... More>
void AttachTexture(void (*real)(GLenum, GLenum, GLuint, GLint, More...), GLenum target, GLenum attachment,
                   GLuint texture, GLint level, More... more)
{
    constexpr auto First = [](GLint layer, auto...) { return layer; };
    const HookedCall call;
    CaptureTargetIfLeft(call, {.kind = TargetEvent::Attaches,
                               .target = target,
                               .attachment = attachment,
                               .object = texture,
                               .level = level,
                               .layer = First(more..., 0)});
    real(target, attachment, texture, level, more...);
}

EGLBoolean MakeCurrent(PFNEGLMAKECURRENTPROC real, EGLDisplay display, EGLSurface draw, EGLSurface read,
                       EGLContext context)
{
    const HookedCall call;
    CaptureTargetIfLeft(call, {.kind = TargetEvent::MakesCurrent, .context = context});
    const EGLBoolean isCurrent = real(display, draw, read, context);
    if (isCurrent && call.IsPrograms()) {
        t_driverFunction = reinterpret_cast<void*>(real);
    }
    return isCurrent;
}

/// @param Function  the one that programs link
template <auto Function, auto Handler>
constexpr HookedName Hooked(const char* name)
{
    return {name, &Hooks<Handler, decltype(Function)>::For, &Exported<Function>};
}

template <auto Handler, typename Function>
constexpr HookedName HookedExtension(const char* name)
{
    return {name, &Hooks<Handler, Function>::For, nullptr};
}

constexpr std::array TargetNames{
    Hooked<&eglMakeCurrent, &MakeCurrent>("eglMakeCurrent"),
    Hooked<&glBindFramebuffer, &BindFramebuffer>("glBindFramebuffer"),
    Hooked<&glDeleteFramebuffers, &Delete<TargetEvent::DeletesFramebuffers>>("glDeleteFramebuffers"),
    Hooked<&glDeleteTextures, &Delete<TargetEvent::DeletesTextures>>("glDeleteTextures"),
    Hooked<&glDeleteRenderbuffers, &Delete<TargetEvent::DeletesRenderbuffers>>("glDeleteRenderbuffers"),
    Hooked<&glInvalidateFramebuffer, &Invalidate<>>("glInvalidateFramebuffer"),
    Hooked<&glInvalidateSubFramebuffer, &Invalidate<GLint, GLint, GLsizei, GLsizei>>(
        "glInvalidateSubFramebuffer"),
    HookedExtension<&Invalidate<>, PFNGLDISCARDFRAMEBUFFEREXTPROC>("glDiscardFramebufferEXT"),
    Hooked<&glFramebufferRenderbuffer, &AttachRenderbuffer>("glFramebufferRenderbuffer"),
    Hooked<&glFramebufferTexture2D, &AttachTexture2D<>>("glFramebufferTexture2D"),
    HookedExtension<&AttachTexture2D<GLsizei>, PFNGLFRAMEBUFFERTEXTURE2DMULTISAMPLEEXTPROC>(
        "glFramebufferTexture2DMultisampleEXT"),
    HookedExtension<&AttachTexture2D<GLint>, PFNGLFRAMEBUFFERTEXTURE3DOESPROC>("glFramebufferTexture3DOES"),
    Hooked<&glFramebufferTexture, &AttachTexture<>>("glFramebufferTexture"),
    HookedExtension<&AttachTexture<>, PFNGLFRAMEBUFFERTEXTUREEXTPROC>("glFramebufferTextureEXT"),
    HookedExtension<&AttachTexture<>, PFNGLFRAMEBUFFERTEXTUREOESPROC>("glFramebufferTextureOES"),
    Hooked<&glFramebufferTextureLayer, &AttachTexture<GLint>>("glFramebufferTextureLayer"),
    HookedExtension<&AttachTexture<GLint, GLsizei>, PFNGLFRAMEBUFFERTEXTUREMULTIVIEWOVRPROC>(
        "glFramebufferTextureMultiviewOVR"),

    Drawing<&glClear>("glClear"),
    Drawing<&glClearBufferfi>("glClearBufferfi"),
    Drawing<&glClearBufferfv>("glClearBufferfv"),
    Drawing<&glClearBufferiv>("glClearBufferiv"),
    Drawing<&glClearBufferuiv>("glClearBufferuiv"),
    Drawing<&glBlitFramebuffer>("glBlitFramebuffer"),
    Drawing<&glDrawArrays>("glDrawArrays"),
    Drawing<&glDrawArraysIndirect>("glDrawArraysIndirect"),
    Drawing<&glDrawArraysInstanced>("glDrawArraysInstanced"),
    Drawing<&glDrawElements>("glDrawElements"),
    Drawing<&glDrawElementsBaseVertex>("glDrawElementsBaseVertex"),
    Drawing<&glDrawElementsIndirect>("glDrawElementsIndirect"),
    Drawing<&glDrawElementsInstanced>("glDrawElementsInstanced"),
    Drawing<&glDrawElementsInstancedBaseVertex>("glDrawElementsInstancedBaseVertex"),
    Drawing<&glDrawRangeElements>("glDrawRangeElements"),
    Drawing<&glDrawRangeElementsBaseVertex>("glDrawRangeElementsBaseVertex"),
    DrawingExtension<&glBlitFramebufferANGLE>("glBlitFramebufferANGLE"),
    DrawingExtension<&glBlitFramebufferNV>("glBlitFramebufferNV"),
    DrawingExtension<&glDrawArraysInstancedANGLE>("glDrawArraysInstancedANGLE"),
    DrawingExtension<&glDrawArraysInstancedEXT>("glDrawArraysInstancedEXT"),
    DrawingExtension<&glDrawArraysInstancedNV>("glDrawArraysInstancedNV"),
    DrawingExtension<&glDrawArraysInstancedBaseInstanceEXT>("glDrawArraysInstancedBaseInstanceEXT"),
    DrawingExtension<&glDrawElementsBaseVertexEXT>("glDrawElementsBaseVertexEXT"),
    DrawingExtension<&glDrawElementsBaseVertexOES>("glDrawElementsBaseVertexOES"),
    DrawingExtension<&glDrawElementsInstancedANGLE>("glDrawElementsInstancedANGLE"),
    DrawingExtension<&glDrawElementsInstancedEXT>("glDrawElementsInstancedEXT"),
    DrawingExtension<&glDrawElementsInstancedNV>("glDrawElementsInstancedNV"),
    DrawingExtension<&glDrawElementsInstancedBaseInstanceEXT>("glDrawElementsInstancedBaseInstanceEXT"),
    DrawingExtension<&glDrawElementsInstancedBaseVertexEXT>("glDrawElementsInstancedBaseVertexEXT"),
    DrawingExtension<&glDrawElementsInstancedBaseVertexOES>("glDrawElementsInstancedBaseVertexOES"),
    DrawingExtension<&glDrawElementsInstancedBaseVertexBaseInstanceEXT>(
        "glDrawElementsInstancedBaseVertexBaseInstanceEXT"),
    DrawingExtension<&glDrawRangeElementsBaseVertexEXT>("glDrawRangeElementsBaseVertexEXT"),
    DrawingExtension<&glDrawRangeElementsBaseVertexOES>("glDrawRangeElementsBaseVertexOES"),
    DrawingExtension<&glDrawTransformFeedbackEXT>("glDrawTransformFeedbackEXT"),
    DrawingExtension<&glDrawTransformFeedbackInstancedEXT>("glDrawTransformFeedbackInstancedEXT"),
    DrawingExtension<&glMultiDrawArraysEXT>("glMultiDrawArraysEXT"),
    DrawingExtension<&glMultiDrawArraysIndirectEXT>("glMultiDrawArraysIndirectEXT"),
    DrawingExtension<&glMultiDrawElementsEXT>("glMultiDrawElementsEXT"),
    DrawingExtension<&glMultiDrawElementsBaseVertexEXT>("glMultiDrawElementsBaseVertexEXT"),
    DrawingExtension<&glMultiDrawElementsIndirectEXT>("glMultiDrawElementsIndirectEXT"),
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

template <auto Exported, typename... Arguments>
void CallHook(const char* name, Arguments... arguments)
{
    static std::atomic<void*> s_hook{nullptr};
    if (const auto hook = HookOfExported<decltype(Exported)>(s_hook, name)) {
        hook(arguments...);
    }
}

} // namespace

const HookedName* FindTargetHook(const char* name) noexcept
{
    for (const HookedName& hooked : TargetNames) {
        if (std::strcmp(hooked.name, name) == 0) {
            return &hooked;
        }
    }
    return nullptr;
}

void CaptureTargetBeforeSwap() noexcept
{
    if (t_hasDrawn) {
        CaptureDrawnTargetIfLeft({.kind = TargetEvent::Swaps});
    }
}

void LearnWhetherTargetsAreWanted(const CaptureAnswer& answer) noexcept
{
    const std::uint64_t told = 2 * answer.swaps + (answer.areTargetsWanted ? 0 : 1);
    std::uint64_t latest = s_latestAnswer;
    while (latest < told && !s_latestAnswer.compare_exchange_weak(latest, told)) {
    }
}

} // namespace Framegrab

using namespace Framegrab;

FRAMEGRAB_EXPORT EGLBoolean eglMakeCurrent(EGLDisplay dpy, EGLSurface draw, EGLSurface read, EGLContext ctx)
{
    static std::atomic<void*> s_hook{nullptr};
    const auto hook = HookOfExported<PFNEGLMAKECURRENTPROC>(s_hook, "eglMakeCurrent");
    return hook ? hook(dpy, draw, read, ctx) : EGL_FALSE;
}

/// Exports a function. A macro since a symbol's name can be had in no other way.
#define EXPORT_HOOK(name, parameters, ...)                                                                   \
    FRAMEGRAB_EXPORT void name parameters                                                                    \
    {                                                                                                        \
        CallHook<&(name)>(#name, __VA_ARGS__);                                                               \
    }

// clang-format off
EXPORT_HOOK(glBindFramebuffer, (GLenum target, GLuint framebuffer), target, framebuffer)
EXPORT_HOOK(glDeleteFramebuffers, (GLsizei n, const GLuint* framebuffers), n, framebuffers)
EXPORT_HOOK(glDeleteTextures, (GLsizei n, const GLuint* textures), n, textures)
EXPORT_HOOK(glDeleteRenderbuffers, (GLsizei n, const GLuint* renderbuffers), n, renderbuffers)
EXPORT_HOOK(glInvalidateFramebuffer,
            (GLenum target, GLsizei numAttachments, const GLenum* attachments),
            target, numAttachments, attachments)
EXPORT_HOOK(glInvalidateSubFramebuffer,
            (GLenum target, GLsizei numAttachments, const GLenum* attachments,
             GLint x, GLint y, GLsizei width, GLsizei height),
            target, numAttachments, attachments, x, y, width, height)
EXPORT_HOOK(glFramebufferRenderbuffer,
            (GLenum target, GLenum attachment, GLenum renderbuffertarget, GLuint renderbuffer),
            target, attachment, renderbuffertarget, renderbuffer)
EXPORT_HOOK(glFramebufferTexture2D,
            (GLenum target, GLenum attachment, GLenum textarget, GLuint texture, GLint level),
            target, attachment, textarget, texture, level)
EXPORT_HOOK(glFramebufferTexture,
            (GLenum target, GLenum attachment, GLuint texture, GLint level),
            target, attachment, texture, level)
EXPORT_HOOK(glFramebufferTextureLayer,
            (GLenum target, GLenum attachment, GLuint texture, GLint level, GLint layer),
            target, attachment, texture, level, layer)
EXPORT_HOOK(glClear, (GLbitfield mask), mask)
EXPORT_HOOK(glClearBufferfi,
            (GLenum buffer, GLint drawbuffer, GLfloat depth, GLint stencil),
            buffer, drawbuffer, depth, stencil)
EXPORT_HOOK(glClearBufferfv,
            (GLenum buffer, GLint drawbuffer, const GLfloat* value),
            buffer, drawbuffer, value)
EXPORT_HOOK(glClearBufferiv,
            (GLenum buffer, GLint drawbuffer, const GLint* value),
            buffer, drawbuffer, value)
EXPORT_HOOK(glClearBufferuiv,
            (GLenum buffer, GLint drawbuffer, const GLuint* value),
            buffer, drawbuffer, value)
EXPORT_HOOK(glBlitFramebuffer,
            (GLint srcX0, GLint srcY0, GLint srcX1, GLint srcY1,
             GLint dstX0, GLint dstY0, GLint dstX1, GLint dstY1, GLbitfield mask, GLenum filter),
            srcX0, srcY0, srcX1, srcY1, dstX0, dstY0, dstX1, dstY1, mask, filter)
EXPORT_HOOK(glDrawArrays, (GLenum mode, GLint first, GLsizei count), mode, first, count)
EXPORT_HOOK(glDrawArraysIndirect, (GLenum mode, const void* indirect), mode, indirect)
EXPORT_HOOK(glDrawArraysInstanced,
            (GLenum mode, GLint first, GLsizei count, GLsizei instancecount),
            mode, first, count, instancecount)
EXPORT_HOOK(glDrawElements,
            (GLenum mode, GLsizei count, GLenum type, const void* indices),
            mode, count, type, indices)
EXPORT_HOOK(glDrawElementsBaseVertex,
            (GLenum mode, GLsizei count, GLenum type, const void* indices, GLint basevertex),
            mode, count, type, indices, basevertex)
EXPORT_HOOK(glDrawElementsIndirect, (GLenum mode, GLenum type, const void* indirect), mode, type, indirect)
EXPORT_HOOK(glDrawElementsInstanced,
            (GLenum mode, GLsizei count, GLenum type, const void* indices, GLsizei instancecount),
            mode, count, type, indices, instancecount)
EXPORT_HOOK(glDrawElementsInstancedBaseVertex,
            (GLenum mode, GLsizei count, GLenum type, const void* indices, GLsizei instancecount,
             GLint basevertex),
            mode, count, type, indices, instancecount, basevertex)
EXPORT_HOOK(glDrawRangeElements,
            (GLenum mode, GLuint start, GLuint end, GLsizei count, GLenum type, const void* indices),
            mode, start, end, count, type, indices)
EXPORT_HOOK(glDrawRangeElementsBaseVertex,
            (GLenum mode, GLuint start, GLuint end, GLsizei count, GLenum type, const void* indices,
             GLint basevertex),
            mode, start, end, count, type, indices, basevertex)
// clang-format on
