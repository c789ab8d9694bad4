#include "Util/GLDepthStencil.h"

#include "Util/GLDispatch.h"
#include "Util/GLState.h"
#include "Util/Logging.h"

#include <GLES2/gl2ext.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace Util {

namespace {

/// Everything that may bend the quad, or the copy, on its way.
constexpr std::array<GLenum, 10> BendingCapabilities{
    GL_DEPTH_TEST,         GL_CULL_FACE,       GL_STENCIL_TEST,
    GL_SCISSOR_TEST,       GL_BLEND,           GL_DITHER,
    GL_RASTERIZER_DISCARD, GL_SAMPLE_COVERAGE, GL_SAMPLE_ALPHA_TO_COVERAGE,
    GL_SAMPLE_MASK,
};

struct ShaderPair
{
    const char* vertex;
    const char* fragment;
};

/// With 16-bit floats a texture coordinate cannot address more than about a thousand columns: the depth pair
/// asks for high precision wherever the fragment stage has it.
constexpr ShaderPair DepthShaders{
    R"(attribute vec4 position;
attribute vec2 in_texcoord;
varying vec2 texcoord;
void main()
{
    gl_Position = position;
    texcoord = in_texcoord;
}
)",
    R"(#ifdef GL_FRAGMENT_PRECISION_HIGH
precision highp float;
#else
precision mediump float;
#endif
varying vec2 texcoord;
uniform sampler2D tex;
void main()
{
    gl_FragColor = texture2D(tex, texcoord).rrra;
}
)"};

/// Stencil values are unsigned integers; OpenGL ES 3.1, section 14.2.6, leaves what a float sampler makes of
/// them undefined.
constexpr ShaderPair StencilShaders{
    R"(#version 300 es
in vec4 position;
in vec2 in_texcoord;
out vec2 texcoord;
void main()
{
    gl_Position = position;
    texcoord = in_texcoord;
}
)",
    R"(#version 300 es
precision highp float;
in vec2 texcoord;
uniform highp usampler2D tex;
out vec4 color;
void main()
{
    float value = float(texture(tex, texcoord).r) / 255.0;
    color = vec4(value, value, value, 1.0);
}
)"};

/// A triangle strip over the whole viewport: four positions, their texture coordinates, and these where
/// `GL_EXT_clip_control` has turned clip space upside down.
constexpr std::array<GLfloat, 24> Quad{
    -1.0F, -1.0F, -1.0F, 1.0F, 1.0F, -1.0F, 1.0F, 1.0F, //
    0.0F,  0.0F,  0.0F,  1.0F, 1.0F, 0.0F,  1.0F, 1.0F, //
    0.0F,  1.0F,  0.0F,  0.0F, 1.0F, 1.0F,  1.0F, 0.0F,
};
constexpr std::size_t QuadTexcoordOffset = 8 * sizeof(GLfloat);
constexpr std::size_t QuadFlippedTexcoordOffset = 16 * sizeof(GLfloat);

/// Saves what the read-back changes, makes the state neutral, and puts everything back in the one order that
/// works: framebuffers before the read buffer that is theirs, the texture while unit 0 is active, the program
/// before a transform feedback that was begun with it is resumed.
class NeutralState
{
public:
    NeutralState()
    {
        GL::ActiveTexture(GL_TEXTURE0);
        m_texture = GetInteger(GL_TEXTURE_BINDING_2D);
        m_sampler = GetInteger(GL_SAMPLER_BINDING);
        m_readBuffer = GetInteger(GL_READ_BUFFER);
        m_unpackBuffer = GetInteger(GL_PIXEL_UNPACK_BUFFER_BINDING);
        GL::GetIntegerv(GL_VIEWPORT, m_viewport.data());
        GL::GetBooleanv(GL_COLOR_WRITEMASK, m_colorMask.data());
        GL::GetBooleanv(GL_DEPTH_WRITEMASK, &m_depthMask);
        m_stencilMaskFront = GetInteger(GL_STENCIL_WRITEMASK);
        m_stencilMaskBack = GetInteger(GL_STENCIL_BACK_WRITEMASK);
        m_vertexArray = GetInteger(GL_VERTEX_ARRAY_BINDING);
        m_arrayBuffer = GetInteger(GL_ARRAY_BUFFER_BINDING);
        m_pausesTransformFeedback =
            GetInteger(GL_TRANSFORM_FEEDBACK_ACTIVE) != 0 && GetInteger(GL_TRANSFORM_FEEDBACK_PAUSED) == 0;

        if (m_pausesTransformFeedback) {
            GL::PauseTransformFeedback();
        }
        GL::BindSampler(0U, 0U);
        GL::BindBuffer(GL_PIXEL_UNPACK_BUFFER, 0U);
        GL::ColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
        GL::DepthMask(GL_FALSE);
        GL::StencilMask(0U);
    }
    NeutralState(const NeutralState&) = delete;
    NeutralState& operator=(const NeutralState&) = delete;
    ~NeutralState()
    {
        GL::BindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(m_readFramebuffer));
        GL::BindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(m_drawFramebuffer));
        GL::BindTexture(GL_TEXTURE_2D, static_cast<GLuint>(m_texture));
        GL::BindSampler(0U, static_cast<GLuint>(m_sampler));
        GL::ActiveTexture(static_cast<GLenum>(m_activeTexture));
        GL::ReadBuffer(static_cast<GLenum>(m_readBuffer));
        GL::BindBuffer(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(m_unpackBuffer));
        if (MayChangeProgram()) {
            GL::UseProgram(static_cast<GLuint>(m_program));
        }
        if (m_pausesTransformFeedback) {
            GL::ResumeTransformFeedback();
        }
        GL::ColorMask(m_colorMask[0], m_colorMask[1], m_colorMask[2], m_colorMask[3]);
        GL::DepthMask(m_depthMask);
        GL::StencilMaskSeparate(GL_FRONT, static_cast<GLuint>(m_stencilMaskFront));
        GL::StencilMaskSeparate(GL_BACK, static_cast<GLuint>(m_stencilMaskBack));
        GL::BindVertexArray(static_cast<GLuint>(m_vertexArray));
        GL::BindBuffer(GL_ARRAY_BUFFER, static_cast<GLuint>(m_arrayBuffer));
        GL::Viewport(m_viewport[0], m_viewport[1], m_viewport[2], m_viewport[3]);
    }

    /// The framebuffer that was bound for drawing.
    [[nodiscard]] GLint Source() const { return m_drawFramebuffer; }

    /// A program that was deleted while in use lives only as long as it stays in use: to use another would
    /// end it.
    [[nodiscard]] bool MayChangeProgram() const
    {
        GLint isDeleted = GL_FALSE;
        if (m_program != 0) {
            GL::GetProgramiv(static_cast<GLuint>(m_program), GL_DELETE_STATUS, &isDeleted);
        }
        return isDeleted == GL_FALSE;
    }

    [[nodiscard]] bool MayDraw() const { return m_polygons.IsFilled(); }

private:
    GLint m_program = GetInteger(GL_CURRENT_PROGRAM);
    GLint m_drawFramebuffer = GetInteger(GL_FRAMEBUFFER_BINDING);
    GLint m_readFramebuffer = GetInteger(GL_READ_FRAMEBUFFER_BINDING);
    GLint m_activeTexture = GetInteger(GL_ACTIVE_TEXTURE, GL_TEXTURE0);
    GLint m_texture = 0;
    GLint m_sampler = 0;
    GLint m_readBuffer = 0;
    GLint m_unpackBuffer = 0;
    std::array<GLint, 4> m_viewport{};
    std::array<GLboolean, 4> m_colorMask{};
    GLboolean m_depthMask = GL_FALSE;
    GLint m_stencilMaskFront = 0;
    GLint m_stencilMaskBack = 0;
    GLint m_vertexArray = 0;
    GLint m_arrayBuffer = 0;
    bool m_pausesTransformFeedback = false;
    // Put back after the rest, when these members end.
    PackedRead m_packedRead;
    FilledPolygons m_polygons;
    DisabledCapabilities<BendingCapabilities.size()> m_capabilities{BendingCapabilities};
};

/// Every object of one read-back; deleting 0 deletes nothing.
struct TemporaryObjects
{
    GLuint framebuffer = 0;
    GLuint colorTexture = 0;
    GLuint copyTexture = 0;
    GLuint program = 0;
    GLuint vertexShader = 0;
    GLuint fragmentShader = 0;
    GLuint vertexArray = 0;
    GLuint vertexBuffer = 0;

    TemporaryObjects() = default;
    TemporaryObjects(const TemporaryObjects&) = delete;
    TemporaryObjects& operator=(const TemporaryObjects&) = delete;
    ~TemporaryObjects()
    {
        GL::DeleteFramebuffers(1, &framebuffer);
        GL::DeleteTextures(1, &colorTexture);
        GL::DeleteTextures(1, &copyTexture);
        GL::DeleteProgram(program);
        GL::DeleteShader(vertexShader);
        GL::DeleteShader(fragmentShader);
        GL::DeleteVertexArrays(1, &vertexArray);
        GL::DeleteBuffers(1, &vertexBuffer);
    }
};

/// Copies depth or stencil of the source into the copy texture, attached to the framebuffer object.
///
/// @return `GL_NO_ERROR`, or what the driver raised
GLenum CopySource(const TemporaryObjects& objects, GLint source, const ImageLayout& layout, Size size,
                  bool stencil)
{
    GL::GetError(); // whatever was pending says nothing about the copy
    DefineTexture(objects.copyTexture, layout, size);
    GL::TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_COMPARE_MODE, GL_NONE);
    if (stencil) {
        GL::TexParameteri(GL_TEXTURE_2D, GL_DEPTH_STENCIL_TEXTURE_MODE, GL_STENCIL_INDEX);
    }
    GL::BindFramebuffer(GL_FRAMEBUFFER, objects.framebuffer);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, stencil ? GL_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT,
                             GL_TEXTURE_2D, objects.copyTexture, 0);

    // What a smaller source does not cover must not be what the memory held before.
    if (stencil) {
        constexpr GLint zero = 0;
        GL::StencilMask(~0U);
        GL::ClearBufferiv(GL_STENCIL, 0, &zero);
        GL::StencilMask(0U);
    } else {
        constexpr GLfloat zero = 0.0F;
        GL::DepthMask(GL_TRUE);
        GL::ClearBufferfv(GL_DEPTH, 0, &zero);
        GL::DepthMask(GL_FALSE);
    }

    GL::BindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(source));
    const SelectedReadBuffer selected(DefaultReadBuffer(source));
    GL::BlitFramebuffer(0, 0, size.width, size.height, 0, 0, size.width, size.height,
                        stencil ? GL_STENCIL_BUFFER_BIT : GL_DEPTH_BUFFER_BIT, GL_NEAREST);
    return GL::GetError();
}

/// Compiles and links; @return whether the program can be used
bool BuildProgram(TemporaryObjects& objects, const ShaderPair& shaders)
{
    objects.vertexShader = GL::CreateShader(GL_VERTEX_SHADER);
    objects.fragmentShader = GL::CreateShader(GL_FRAGMENT_SHADER);
    objects.program = GL::CreateProgram();
    GL::ShaderSource(objects.vertexShader, 1, &shaders.vertex, nullptr);
    GL::ShaderSource(objects.fragmentShader, 1, &shaders.fragment, nullptr);
    GL::CompileShader(objects.vertexShader);
    GL::CompileShader(objects.fragmentShader);
    GL::AttachShader(objects.program, objects.vertexShader);
    GL::AttachShader(objects.program, objects.fragmentShader);
    GL::LinkProgram(objects.program);

    GLint isLinked = GL_FALSE;
    GL::GetProgramiv(objects.program, GL_LINK_STATUS, &isLinked);
    return isLinked != GL_FALSE;
}

void SetUpVertexAttribute(GLuint program, const char* name, std::size_t offset)
{
    const GLint location = GL::GetAttribLocation(program, name);
    if (location < 0) {
        return;
    }
    GL::VertexAttribPointer(static_cast<GLuint>(location), 2, GL_FLOAT, GL_FALSE, 0,
                            reinterpret_cast<const void*>(offset));
    GL::EnableVertexAttribArray(static_cast<GLuint>(location));
}

/// Draws the copy over the whole colour texture.
void DrawCopy(TemporaryObjects& objects, Size size)
{
    // A vertex array and a buffer of our own: attributes of the application's could not all be put back.
    GL::GenVertexArrays(1, &objects.vertexArray);
    GL::GenBuffers(1, &objects.vertexBuffer);
    GL::BindVertexArray(objects.vertexArray);
    GL::BindBuffer(GL_ARRAY_BUFFER, objects.vertexBuffer);
    GL::BufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(sizeof(Quad)), Quad.data(), GL_STATIC_DRAW);
    SetUpVertexAttribute(objects.program, "position", 0);
    const bool isFlipped =
        HasExtension("GL_EXT_clip_control") && GetInteger(GL_CLIP_ORIGIN_EXT) == GL_UPPER_LEFT_EXT;
    SetUpVertexAttribute(objects.program, "in_texcoord",
                         isFlipped ? QuadFlippedTexcoordOffset : QuadTexcoordOffset);

    GL::Viewport(0, 0, size.width, size.height);
    GL::BindTexture(GL_TEXTURE_2D, objects.copyTexture);
    GL::UseProgram(objects.program);
    GL::Uniform1i(GL::GetUniformLocation(objects.program, "tex"), 0);
    GL::DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

void FillOpaqueBlack(std::uint8_t* pixels, Size size)
{
    const std::size_t count = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    constexpr std::array<std::uint8_t, 4> OpaqueBlack{0, 0, 0, 255};
    for (std::size_t i = 0; i < count; ++i) {
        std::copy(OpaqueBlack.begin(), OpaqueBlack.end(), pixels + i * OpaqueBlack.size());
    }
}

} // namespace

bool CanReadDepthStencil()
{
    return HasEntryPoints(
               GL::GetIntegerv, GL::BindBuffer, GL::GenTextures, GL::BindTexture, GL::TexParameteri,
               GL::TexImage2D, GL::FramebufferTexture2D, GL::BindFramebuffer, GL::GenFramebuffers,
               GL::IsEnabled, GL::GetBooleanv, GL::Disable, GL::ColorMask, GL::DepthMask, GL::StencilMask,
               GL::ReadBuffer, GL::ReadPixels, GL::BlitFramebuffer, GL::CreateShader, GL::CreateProgram,
               GL::ShaderSource, GL::CompileShader, GL::AttachShader, GL::LinkProgram, GL::GetAttribLocation,
               GL::GetVertexAttribiv, GL::VertexAttribPointer, GL::EnableVertexAttribArray, GL::Uniform1i,
               GL::UseProgram, GL::DrawArrays, GL::PixelStorei, GL::DisableVertexAttribArray, GL::Enable,
               GL::DeleteFramebuffers, GL::DeleteTextures, GL::DeleteProgram, GL::Viewport, GL::DeleteShader,
               GL::BindVertexArray, GL::ActiveTexture, GL::GetVertexAttribPointerv, GL::GetUniformLocation) &&
           HasEntryPoints(GL::BindSampler, GL::BufferData, GL::ClearBufferfv, GL::ClearBufferiv,
                          GL::DeleteBuffers, GL::DeleteVertexArrays, GL::GenBuffers, GL::GenVertexArrays,
                          GL::GetError, GL::GetProgramiv, GL::PauseTransformFeedback,
                          GL::ResumeTransformFeedback, GL::StencilMaskSeparate);
}

void ReadDepthStencil(Component component, Size sourceSize, Size outputSize, const ImageLayout& copy,
                      std::uint8_t* pixels)
{
    const bool stencil = component == Component::Stencil;

    // In this order: the application's bindings are back before the objects that took their place are
    // deleted.
    const QuietErrors quiet;
    if (!CanReportErrors()) {
        FillOpaqueBlack(pixels, outputSize);
    }
    TemporaryObjects objects;
    const NeutralState state;

    GL::GenTextures(1, &objects.colorTexture);
    GL::GenTextures(1, &objects.copyTexture);
    GL::GenFramebuffers(1, &objects.framebuffer);

    GLenum error = CopySource(objects, state.Source(), copy, sourceSize, stencil);
    if (error != GL_NO_ERROR && !stencil) {
        // The formats of a depth copy must match, and 32 bits of depth may well be fixed-point: let the
        // driver choose.
        constexpr ImageLayout unsized{GL_DEPTH_COMPONENT, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT};
        error = CopySource(objects, state.Source(), unsized, sourceSize, stencil);
    }

    GL::BindFramebuffer(GL_FRAMEBUFFER, objects.framebuffer);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_TEXTURE_2D, 0U, 0);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, GL_STENCIL_ATTACHMENT, GL_TEXTURE_2D, 0U, 0);
    DefineTexture(objects.colorTexture, {GL_RGBA, GL_RGBA, GL_UNSIGNED_BYTE}, outputSize);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, objects.colorTexture, 0);

    // What is not drawn is black, not what the memory held before.
    constexpr std::array<GLfloat, 4> OpaqueBlack{0.0F, 0.0F, 0.0F, 1.0F};
    GL::ClearBufferfv(GL_COLOR, 0, OpaqueBlack.data());

    const char* reason = nullptr;
    if (error != GL_NO_ERROR) {
        reason = "the driver refused to copy it";
    } else if (!state.MayChangeProgram()) {
        reason = "the program in use has been deleted and would be lost";
    } else if (!state.MayDraw()) {
        reason = "polygons are drawn as lines or points";
    } else if (!BuildProgram(objects, stencil ? StencilShaders : DepthShaders)) {
        reason = "the shader that shows it did not link";
    } else {
        DrawCopy(objects, outputSize);
    }
    GL::ReadBuffer(GL_COLOR_ATTACHMENT0);
    GL::ReadPixels(0, 0, outputSize.width, outputSize.height, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    if (GL::GetError() != GL_NO_ERROR && !reason) {
        reason = "the driver refused to draw or to read it";
    }

    if (reason) {
        FillOpaqueBlack(pixels, outputSize);
        UTIL_LOG(Core::Log::LevelWarning, "The picture of the %s buffer is black: %s",
                 stencil ? "stencil" : "depth", reason);
    }
}

} // namespace Util
