#pragma once

#include "Util/GLState.h"

#include <array>

namespace Util {

/// Everything that may bend the copy of depth or stencil, or the quad that shows it, on its way.
inline constexpr std::array<GLenum, 10> BendingCapabilities{
    GL_DEPTH_TEST,         GL_CULL_FACE,       GL_STENCIL_TEST,
    GL_SCISSOR_TEST,       GL_BLEND,           GL_DITHER,
    GL_RASTERIZER_DISCARD, GL_SAMPLE_COVERAGE, GL_SAMPLE_ALPHA_TO_COVERAGE,
    GL_SAMPLE_MASK,
};

/// Makes the state neutral for such a copy and its quad, with unit 0 active and pixel reads packed.
///
/// Members end in the reverse of their order, which is the one that works: framebuffers before the read
/// buffer that is theirs, the texture while unit 0 is active, the program before a transform feedback that
/// was begun with it is resumed.
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

} // namespace Util
