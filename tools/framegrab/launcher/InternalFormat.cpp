#include "launcher/InternalFormat.h"

#include <GLES3/gl32.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace Framegrab {

namespace {

struct NamedFormat
{
    std::uint32_t format;
    const char* name;
};

/// What can be rendered to, with extensions.
constexpr std::array NamedFormats = std::to_array<NamedFormat>({
    {GL_R8, "GL_R8"},
    {GL_RG8, "GL_RG8"},
    {GL_RGB8, "GL_RGB8"},
    {GL_RGBA8, "GL_RGBA8"},
    {GL_SRGB8, "GL_SRGB8"},
    {GL_SRGB8_ALPHA8, "GL_SRGB8_ALPHA8"},
    {GL_R8_SNORM, "GL_R8_SNORM"},
    {GL_RG8_SNORM, "GL_RG8_SNORM"},
    {GL_RGB8_SNORM, "GL_RGB8_SNORM"},
    {GL_RGBA8_SNORM, "GL_RGBA8_SNORM"},
    {GL_RGB565, "GL_RGB565"},
    {GL_RGBA4, "GL_RGBA4"},
    {GL_RGB5_A1, "GL_RGB5_A1"},
    {GL_RGB10_A2, "GL_RGB10_A2"},
    {GL_R16F, "GL_R16F"},
    {GL_RG16F, "GL_RG16F"},
    {GL_RGB16F, "GL_RGB16F"},
    {GL_RGBA16F, "GL_RGBA16F"},
    {GL_R32F, "GL_R32F"},
    {GL_RG32F, "GL_RG32F"},
    {GL_RGB32F, "GL_RGB32F"},
    {GL_RGBA32F, "GL_RGBA32F"},
    {GL_R11F_G11F_B10F, "GL_R11F_G11F_B10F"},
    {GL_RGB9_E5, "GL_RGB9_E5"},
    {GL_R8UI, "GL_R8UI"},
    {GL_RG8UI, "GL_RG8UI"},
    {GL_RGB8UI, "GL_RGB8UI"},
    {GL_RGBA8UI, "GL_RGBA8UI"},
    {GL_R16UI, "GL_R16UI"},
    {GL_RG16UI, "GL_RG16UI"},
    {GL_RGB16UI, "GL_RGB16UI"},
    {GL_RGBA16UI, "GL_RGBA16UI"},
    {GL_R32UI, "GL_R32UI"},
    {GL_RG32UI, "GL_RG32UI"},
    {GL_RGB32UI, "GL_RGB32UI"},
    {GL_RGBA32UI, "GL_RGBA32UI"},
    {GL_RGB10_A2UI, "GL_RGB10_A2UI"},
    {GL_R8I, "GL_R8I"},
    {GL_RG8I, "GL_RG8I"},
    {GL_RGB8I, "GL_RGB8I"},
    {GL_RGBA8I, "GL_RGBA8I"},
    {GL_R16I, "GL_R16I"},
    {GL_RG16I, "GL_RG16I"},
    {GL_RGB16I, "GL_RGB16I"},
    {GL_RGBA16I, "GL_RGBA16I"},
    {GL_R32I, "GL_R32I"},
    {GL_RG32I, "GL_RG32I"},
    {GL_RGB32I, "GL_RGB32I"},
    {GL_RGBA32I, "GL_RGBA32I"},
    {GL_R16_EXT, "GL_R16_EXT"},
    {GL_RG16_EXT, "GL_RG16_EXT"},
    {GL_RGB16_EXT, "GL_RGB16_EXT"},
    {GL_RGBA16_EXT, "GL_RGBA16_EXT"},
    {GL_R16_SNORM_EXT, "GL_R16_SNORM_EXT"},
    {GL_RG16_SNORM_EXT, "GL_RG16_SNORM_EXT"},
    {GL_RGB16_SNORM_EXT, "GL_RGB16_SNORM_EXT"},
    {GL_RGBA16_SNORM_EXT, "GL_RGBA16_SNORM_EXT"},
    {GL_BGRA8_EXT, "GL_BGRA8_EXT"},
    {GL_RGB10_EXT, "GL_RGB10_EXT"},
    {GL_SR8_EXT, "GL_SR8_EXT"},
    {GL_SRG8_EXT, "GL_SRG8_EXT"},
    {GL_DEPTH_COMPONENT16, "GL_DEPTH_COMPONENT16"},
    {GL_DEPTH_COMPONENT24, "GL_DEPTH_COMPONENT24"},
    {GL_DEPTH_COMPONENT32_OES, "GL_DEPTH_COMPONENT32_OES"},
    {GL_DEPTH_COMPONENT32F, "GL_DEPTH_COMPONENT32F"},
    {GL_DEPTH24_STENCIL8, "GL_DEPTH24_STENCIL8"},
    {GL_DEPTH32F_STENCIL8, "GL_DEPTH32F_STENCIL8"},
    {GL_STENCIL_INDEX8, "GL_STENCIL_INDEX8"},
});

} // namespace

std::string InternalFormatName(std::uint32_t format)
{
    const auto* const found = std::find_if(NamedFormats.begin(), NamedFormats.end(),
                                           [=](const NamedFormat& row) { return row.format == format; });
    if (found != NamedFormats.end()) {
        return found->name;
    }
    char number[16];
    std::snprintf(number, sizeof(number), "0x%04X", unsigned{format});
    return format != 0 ? number : "";
}

} // namespace Framegrab
