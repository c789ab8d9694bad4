#pragma once

#include "Util/GLCopy.h"
#include "Util/GLDepthStencil.h"
#include "Util/GLNeutralState.h"

// How depth and stencil, which no function of OpenGL ES reads, become colours, which can be read: they are
// copied into a texture of the library's own, and that is drawn over another.

namespace Util {

/// Every object of one read-back; deleting 0 deletes nothing.
struct TemporaryObjects
{
    GLuint framebuffer = 0;
    GLuint target = 0;
    GLuint copy = 0;
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
        GL::DeleteTextures(1, &target);
        GL::DeleteTextures(1, &copy);
        GL::DeleteProgram(program);
        GL::DeleteShader(vertexShader);
        GL::DeleteShader(fragmentShader);
        GL::DeleteVertexArrays(1, &vertexArray);
        GL::DeleteBuffers(1, &vertexBuffer);
    }
};

struct ShaderPair
{
    const char* vertex;
    const char* fragment;
};

/// Of GLSL ES 3.00. The fragment shader gets `texcoord`, and the copy as `tex`.
inline constexpr auto QuadVertexShader =
    R"(#version 300 es
in vec4 position;
in vec2 in_texcoord;
out vec2 texcoord;
void main()
{
    gl_Position = position;
    texcoord = in_texcoord;
}
)";

/// Copies depth or stencil of the source into a texture of the library's own, and leaves that attached to the
/// framebuffer object, which is bound for drawing.
///
/// @return `GL_NO_ERROR`, or what the driver raised
GLenum CopySource(TemporaryObjects& objects, GLuint source, const ImageLayout& layout, Size size,
                  Component component);

/// Attaches a colour texture to the framebuffer object in place of the copy, which can be sampled from then
/// on, and draws that over the whole of it.
///
/// @return why that cannot be done; null where it can, and then GL tells of what it refuses
const char* DrawCopy(TemporaryObjects& objects, const NeutralState& state, const ShaderPair& shaders,
                     const ImageLayout& layout, Size size);

} // namespace Util
