#pragma once

#include "Core/KHRLayer.h"

#include <EGL/egl.h>
#include <GLES3/gl32.h>

#include <cstddef>

// clang-format off

/// The GL functions that the library calls: position in the host's table, name without its prefix, type.
#define UTIL_GL_ENTRY_POINTS(entry) \
    entry(0, ActiveTexture, PFNGLACTIVETEXTUREPROC)                                               \
    entry(1, AttachShader, PFNGLATTACHSHADERPROC)                                                 \
    entry(3, BindBuffer, PFNGLBINDBUFFERPROC)                                                     \
    entry(4, BindFramebuffer, PFNGLBINDFRAMEBUFFERPROC)                                           \
    entry(5, BindRenderbuffer, PFNGLBINDRENDERBUFFERPROC)                                         \
    entry(6, BindTexture, PFNGLBINDTEXTUREPROC)                                                   \
    entry(12, BufferData, PFNGLBUFFERDATAPROC)                                                    \
    entry(19, ColorMask, PFNGLCOLORMASKPROC)                                                      \
    entry(20, CompileShader, PFNGLCOMPILESHADERPROC)                                              \
    entry(25, CreateProgram, PFNGLCREATEPROGRAMPROC)                                              \
    entry(26, CreateShader, PFNGLCREATESHADERPROC)                                                \
    entry(28, DeleteBuffers, PFNGLDELETEBUFFERSPROC)                                              \
    entry(29, DeleteFramebuffers, PFNGLDELETEFRAMEBUFFERSPROC)                                    \
    entry(30, DeleteProgram, PFNGLDELETEPROGRAMPROC)                                              \
    entry(32, DeleteShader, PFNGLDELETESHADERPROC)                                                \
    entry(33, DeleteTextures, PFNGLDELETETEXTURESPROC)                                            \
    entry(35, DepthMask, PFNGLDEPTHMASKPROC)                                                      \
    entry(38, Disable, PFNGLDISABLEPROC)                                                          \
    entry(39, DisableVertexAttribArray, PFNGLDISABLEVERTEXATTRIBARRAYPROC)                        \
    entry(40, DrawArrays, PFNGLDRAWARRAYSPROC)                                                    \
    entry(42, Enable, PFNGLENABLEPROC)                                                            \
    entry(43, EnableVertexAttribArray, PFNGLENABLEVERTEXATTRIBARRAYPROC)                          \
    entry(47, FramebufferTexture2D, PFNGLFRAMEBUFFERTEXTURE2DPROC)                                \
    entry(49, GenBuffers, PFNGLGENBUFFERSPROC)                                                    \
    entry(51, GenFramebuffers, PFNGLGENFRAMEBUFFERSPROC)                                          \
    entry(53, GenTextures, PFNGLGENTEXTURESPROC)                                                  \
    entry(57, GetAttribLocation, PFNGLGETATTRIBLOCATIONPROC)                                      \
    entry(58, GetBooleanv, PFNGLGETBOOLEANVPROC)                                                  \
    entry(60, GetError, PFNGLGETERRORPROC)                                                        \
    entry(62, GetFramebufferAttachmentParameteriv, PFNGLGETFRAMEBUFFERATTACHMENTPARAMETERIVPROC)  \
    entry(63, GetIntegerv, PFNGLGETINTEGERVPROC)                                                  \
    entry(64, GetProgramiv, PFNGLGETPROGRAMIVPROC)                                                \
    entry(66, GetRenderbufferParameteriv, PFNGLGETRENDERBUFFERPARAMETERIVPROC)                    \
    entry(71, GetString, PFNGLGETSTRINGPROC)                                                      \
    entry(76, GetUniformLocation, PFNGLGETUNIFORMLOCATIONPROC)                                    \
    entry(78, GetVertexAttribiv, PFNGLGETVERTEXATTRIBIVPROC)                                      \
    entry(79, GetVertexAttribPointerv, PFNGLGETVERTEXATTRIBPOINTERVPROC)                          \
    entry(82, IsEnabled, PFNGLISENABLEDPROC)                                                      \
    entry(85, IsRenderbuffer, PFNGLISRENDERBUFFERPROC)                                            \
    entry(87, IsTexture, PFNGLISTEXTUREPROC)                                                      \
    entry(89, LinkProgram, PFNGLLINKPROGRAMPROC)                                                  \
    entry(90, PixelStorei, PFNGLPIXELSTOREIPROC)                                                  \
    entry(92, ReadPixels, PFNGLREADPIXELSPROC)                                                    \
    entry(98, ShaderSource, PFNGLSHADERSOURCEPROC)                                                \
    entry(101, StencilMask, PFNGLSTENCILMASKPROC)                                                 \
    entry(102, StencilMaskSeparate, PFNGLSTENCILMASKSEPARATEPROC)                                 \
    entry(105, TexImage2D, PFNGLTEXIMAGE2DPROC)                                                   \
    entry(108, TexParameteri, PFNGLTEXPARAMETERIPROC)                                             \
    entry(113, Uniform1i, PFNGLUNIFORM1IPROC)                                                     \
    entry(130, UseProgram, PFNGLUSEPROGRAMPROC)                                                   \
    entry(140, VertexAttribPointer, PFNGLVERTEXATTRIBPOINTERPROC)                                 \
    entry(141, Viewport, PFNGLVIEWPORTPROC)                                                       \
    entry(142, ReadBuffer, PFNGLREADBUFFERPROC)                                                   \
    entry(165, BlitFramebuffer, PFNGLBLITFRAMEBUFFERPROC)                                         \
    entry(167, FramebufferTextureLayer, PFNGLFRAMEBUFFERTEXTURELAYERPROC)                         \
    entry(170, BindVertexArray, PFNGLBINDVERTEXARRAYPROC)                                         \
    entry(171, DeleteVertexArrays, PFNGLDELETEVERTEXARRAYSPROC)                                   \
    entry(172, GenVertexArrays, PFNGLGENVERTEXARRAYSPROC)                                         \
    entry(198, ClearBufferiv, PFNGLCLEARBUFFERIVPROC)                                             \
    entry(199, ClearBufferuiv, PFNGLCLEARBUFFERUIVPROC)                                           \
    entry(200, ClearBufferfv, PFNGLCLEARBUFFERFVPROC)                                             \
    entry(224, BindSampler, PFNGLBINDSAMPLERPROC)                                                 \
    entry(236, PauseTransformFeedback, PFNGLPAUSETRANSFORMFEEDBACKPROC)                           \
    entry(237, ResumeTransformFeedback, PFNGLRESUMETRANSFORMFEEDBACKPROC)                         \
    entry(243, TexStorage2D, PFNGLTEXSTORAGE2DPROC)                                               \
    entry(252, GetFramebufferParameteriv, PFNGLGETFRAMEBUFFERPARAMETERIVPROC)                     \
    entry(308, GetTexLevelParameteriv, PFNGLGETTEXLEVELPARAMETERIVPROC)                          

/// The EGL functions that the library calls.
#define UTIL_EGL_ENTRY_POINTS(entry) \
    entry(10, GetCurrentDisplay, PFNEGLGETCURRENTDISPLAYPROC)  \
    entry(11, GetCurrentSurface, PFNEGLGETCURRENTSURFACEPROC)  \
    entry(14, GetProcAddress, PFNEGLGETPROCADDRESSPROC)        \
    entry(19, QuerySurface, PFNEGLQUERYSURFACEPROC)

// clang-format on

namespace Util {

/// One function of a dispatch table, called like the function itself: `GL::Flush()`.
///
/// Nothing of the table is kept: each call asks the host for the table and reads the entry, since the host
/// may change either between two calls.
template <void* const* (*Table)(), std::size_t Position, typename Function>
struct EntryPoint;

template <void* const* (*Table)(), std::size_t Position, typename Result, typename... Arguments>
struct EntryPoint<Table, Position, Result (*)(Arguments...)>
{
    [[nodiscard]] bool IsMissing() const { return Table()[Position] == nullptr; }

    Result operator()(Arguments... arguments) const
    {
        return reinterpret_cast<Result (*)(Arguments...)>(Table()[Position])(arguments...);
    }
};

namespace GL {

#define UTIL_GL_ENTRY_POINT(position, name, type)                                                            \
    inline constexpr EntryPoint<&Core::KHRLayer::GLESProc, position, type> name{};
UTIL_GL_ENTRY_POINTS(UTIL_GL_ENTRY_POINT)
#undef UTIL_GL_ENTRY_POINT

} // namespace GL

namespace EGL {

#define UTIL_EGL_ENTRY_POINT(position, name, type)                                                           \
    inline constexpr EntryPoint<&Core::KHRLayer::EGLProc, position, type> name{};
UTIL_EGL_ENTRY_POINTS(UTIL_EGL_ENTRY_POINT)
#undef UTIL_EGL_ENTRY_POINT

} // namespace EGL

/// @return whether the host's tables hold every one of these functions; they are looked at in the order given
template <typename... EntryPoints>
bool HasEntryPoints(const EntryPoints&... entryPoints)
{
    return !(entryPoints.IsMissing() || ...);
}

} // namespace Util
