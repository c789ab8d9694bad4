#include "capture/BufferFormat.h"

#include "Util/GLState.h"
#include "Util/GLUtils.h"
#include "capture/Driver.h"

#include <GLES2/gl2ext.h>

#include <algorithm>
#include <array>

namespace Framegrab {

namespace {

/// Bits of red, green, blue and alpha.
using Bits = std::array<unsigned int, 4>;

/// @param bits  of which some are there
GLenum ColorFormat(const Bits& bits, GLenum type, bool isSrgb)
{
    if (type == GL_UNSIGNED_NORMALIZED || type == GL_SIGNED_NORMALIZED) {
        // The general table has no normalized formats of 16 bits.
        constexpr std::array<std::array<GLenum, 4>, 2> Of16Bits{
            {{GL_R16_EXT, GL_RG16_EXT, GL_RGB16_EXT, GL_RGBA16_EXT},
             {GL_R16_SNORM_EXT, GL_RG16_SNORM_EXT, GL_RGB16_SNORM_EXT, GL_RGBA16_SNORM_EXT}}};
        const auto missing = static_cast<std::size_t>(std::count(bits.begin(), bits.end(), 0U));
        if (bits[0] == 16) {
            return Of16Bits[type == GL_SIGNED_NORMALIZED ? 1 : 0][3 - missing];
        }
        // To it, unsigned normalized values are those of sRGB.
        type = type == GL_SIGNED_NORMALIZED || isSrgb ? type : GL_NONE;
    }
    const GLenum format = Util::GetInternalFormatFromRGBAComponentInfo(bits[0], bits[1], bits[2], bits[3],
                                                                       type, type, type, type);
    return Util::IsUnsizedInternalFormat(format) ? 0 : format;
}

/// @param depth, stencil  bits of the two that share a pixel
GLenum DepthStencilFormat(unsigned int depth, unsigned int stencil, bool isFloat)
{
    if (depth == 32 && stencil == 0 && !isFloat) {
        return GL_DEPTH_COMPONENT32_OES;
    }
    GLenum format = 0;
    Util::GetDepthStencilFormatType(static_cast<int>(depth), static_cast<int>(stencil), &format, nullptr,
                                    nullptr);
    return format;
}

} // namespace

GLint GetOfAttachment(GLenum point, GLenum name)
{
    GLint value = 0;
    GL::GetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, name, &value);
    return value;
}

BufferFormat DescribeBuffer(const BufferKind& kind, GLenum point)
{
    const auto bitsOf = [&, isWindow = point == kind.surfacePoint](const Component& component) {
        return static_cast<unsigned int>(isWindow ? Util::GetInteger(component.surfaceBits)
                                                  : GetOfAttachment(point, component.attachmentBits));
    };
    BufferFormat format;
    Bits bits{};
    for (std::size_t i = 0; i < kind.components.size(); ++i) {
        bits[i] = bitsOf(kind.components[i]);
        format.text += bits[i] > 0 ? kind.components[i].letter + std::to_string(bits[i]) : "";
    }
    if (format.text.empty() || !Util::HasEntryPoints(GL::GetFramebufferAttachmentParameteriv)) {
        return format;
    }
    const auto type = static_cast<GLenum>(GetOfAttachment(point, GL_FRAMEBUFFER_ATTACHMENT_COMPONENT_TYPE));
    const bool isFloat = type == GL_FLOAT;
    if (kind.buffer != Buffer::Color) {
        format.text += isFloat ? " float" : "";
        format.internalFormat =
            DepthStencilFormat(bitsOf(DepthComponents[0]), bitsOf(StencilComponents[0]), isFloat);
        return format;
    }
    const bool isSrgb = GetOfAttachment(point, GL_FRAMEBUFFER_ATTACHMENT_COLOR_ENCODING) == GL_SRGB;
    format.isInteger = type == GL_INT || type == GL_UNSIGNED_INT;
    format.text += isFloat                   ? " float"
                   : type == GL_INT          ? " signed integer"
                   : type == GL_UNSIGNED_INT ? " unsigned integer"
                   : isSrgb                  ? " sRGB"
                                             : "";
    format.internalFormat = ColorFormat(bits, type, isSrgb);
    return format;
}

} // namespace Framegrab
