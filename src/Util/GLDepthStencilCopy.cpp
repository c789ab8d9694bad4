#include "Util/GLDepthStencilCopy.h"

#include <array>

namespace Util {

namespace {

/// A triangle strip over the whole viewport: four positions, their texture coordinates, and these where
/// `GL_EXT_clip_control` has turned clip space upside down.
constexpr std::array<GLfloat, 24> Quad{
    -1.0F, -1.0F, -1.0F, 1.0F, 1.0F, -1.0F, 1.0F, 1.0F, //
    0.0F,  0.0F,  0.0F,  1.0F, 1.0F, 0.0F,  1.0F, 1.0F, //
    0.0F,  1.0F,  0.0F,  0.0F, 1.0F, 1.0F,  1.0F, 0.0F,
};
constexpr std::size_t QuadTexcoordOffset = 8 * sizeof(GLfloat);
constexpr std::size_t QuadFlippedTexcoordOffset = 16 * sizeof(GLfloat);

GLenum CopySourceAs(const ImageLayout& layout, const TemporaryObjects& objects, GLuint source, Size size,
                    Component component)
{
    const bool stencil = component == Component::Stencil;
    TakeError(); // whatever was pending says nothing about the copy
    DefineTexture(objects.copy, layout, size);
    GL::TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_COMPARE_MODE, GL_NONE);
    if (stencil) {
        GL::TexParameteri(GL_TEXTURE_2D, GL_DEPTH_STENCIL_TEXTURE_MODE, GL_STENCIL_INDEX);
    }
    GL::BindFramebuffer(GL_FRAMEBUFFER, objects.framebuffer);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, AttachmentPoint(component), GL_TEXTURE_2D, objects.copy, 0);

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

    GL::BindFramebuffer(GL_READ_FRAMEBUFFER, source);
    const SelectedReadBuffer selected(DefaultReadBuffer(source));
    GL::BlitFramebuffer(0, 0, size.width, size.height, 0, 0, size.width, size.height,
                        stencil ? GL_STENCIL_BUFFER_BIT : GL_DEPTH_BUFFER_BIT, GL_NEAREST);
    return TakeError();
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

} // namespace

GLenum CopySource(TemporaryObjects& objects, GLuint source, const ImageLayout& layout, Size size,
                  Component component)
{
    GL::GenTextures(1, &objects.copy);
    GL::GenFramebuffers(1, &objects.framebuffer);
    const GLenum error = CopySourceAs(layout, objects, source, size, component);
    if (error == GL_NO_ERROR || component == Component::Stencil) {
        return error;
    }
    // The formats of a depth copy must match, and 32 bits of depth may well be fixed-point: let the driver
    // choose.
    constexpr ImageLayout Unsized{GL_DEPTH_COMPONENT, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT};
    return CopySourceAs(Unsized, objects, source, size, component);
}

const char* DrawCopy(TemporaryObjects& objects, const NeutralState& state, const ShaderPair& shaders,
                     const ImageLayout& layout, Size size)
{
    GL::BindFramebuffer(GL_FRAMEBUFFER, objects.framebuffer);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_TEXTURE_2D, 0U, 0);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, GL_STENCIL_ATTACHMENT, GL_TEXTURE_2D, 0U, 0);
    GL::GenTextures(1, &objects.target);
    DefineTexture(objects.target, layout, size);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, objects.target, 0);
    GL::ReadBuffer(GL_COLOR_ATTACHMENT0);

    if (const char* const reason = state.WhyNotDraw()) {
        return reason;
    }
    if (!BuildProgram(objects, shaders)) {
        return "the shader that shows it did not link";
    }

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
    GL::BindTexture(GL_TEXTURE_2D, objects.copy);
    GL::UseProgram(objects.program);
    GL::Uniform1i(GL::GetUniformLocation(objects.program, "tex"), 0);
    // Where nothing is drawn after all, it must not be what the memory held before.
    constexpr std::array<GLuint, 4> Nothing{};
    constexpr std::array<GLfloat, 4> OpaqueBlack{0.0F, 0.0F, 0.0F, 1.0F};
    if (layout.format == GL_RGBA) {
        GL::ClearBufferfv(GL_COLOR, 0, OpaqueBlack.data());
    } else {
        GL::ClearBufferuiv(GL_COLOR, 0, Nothing.data());
    }
    GL::DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    return nullptr;
}

} // namespace Util
