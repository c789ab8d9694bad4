#pragma once

#include "Util/GLCopy.h"
#include "Util/GLDepthStencil.h"
#include "Util/GLState.h"

#include <array>

// How depth and stencil, which no function of OpenGL ES reads, become colours, which can be read: they are
// copied into a texture of the library's own, and that is drawn over another.

namespace Util {

/// Everything that may bend the quad, or the copy, on its way.
inline constexpr std::array<GLenum, 10> BendingCapabilities{
    GL_DEPTH_TEST,         GL_CULL_FACE,       GL_STENCIL_TEST,
    GL_SCISSOR_TEST,       GL_BLEND,           GL_DITHER,
    GL_RASTERIZER_DISCARD, GL_SAMPLE_COVERAGE, GL_SAMPLE_ALPHA_TO_COVERAGE,
    GL_SAMPLE_MASK,
};

/// Makes the state neutral for a copy and a quad, with unit 0 active and pixel reads packed. Members end in
/// the reverse of their order, which is the one that works: framebuffers before the read buffer that is
/// theirs, the texture while unit 0 is active, the program before a transform feedback that was begun with it
/// is resumed.
class NeutralState
{
public:
    NeutralState()
    {
        GL::BindSampler(0U, 0U);
        GL::BindBuffer(GL_PIXEL_UNPACK_BUFFER, 0U);
        GL::ColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
        GL::DepthMask(GL_FALSE);
        GL::StencilMask(0U);
    }

    /// The framebuffer that was bound for drawing.
    [[nodiscard]] GLuint Source() const { return m_drawFramebuffer.Value(); }

    /// @return why nothing can be drawn; null where something can
    [[nodiscard]] const char* WhyNotDraw() const
    {
        return !m_program.MayChange()   ? "the program in use has been deleted and would be lost"
               : !m_polygons.IsFilled() ? "polygons are drawn as lines or points"
                                        : nullptr;
    }

private:
    SavedViewport m_viewport;
    SavedVertexArray m_vertexArray;
    SavedArrayBuffer m_arrayBuffer;
    DisabledCapabilities<BendingCapabilities.size()> m_capabilities{BendingCapabilities};
    FilledPolygons m_polygons;
    SavedStencilMaskBack m_stencilMaskBack;
    SavedStencilMaskFront m_stencilMaskFront;
    SavedDepthMask m_depthMask;
    SavedColorMask m_colorMask;
    PausedTransformFeedback m_transformFeedback;
    SavedProgram m_program;
    SavedUnpackBuffer m_unpackBuffer;
    PackedRead m_packedRead;
    SavedReadBuffer m_readBuffer;
    SelectedTextureUnit m_unit{GL_TEXTURE0};
    SavedSamplerOfUnit0 m_sampler;
    SavedTexture m_texture{GL_TEXTURE_2D, GL_TEXTURE_BINDING_2D};
    SavedDrawFramebuffer m_drawFramebuffer;
    SavedReadFramebuffer m_readFramebuffer;
};

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
