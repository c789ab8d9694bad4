#include "Util/GLUtils.h"

#include "support/GLContext.h"
#include "support/Scene.h"
#include "support/TestDispatch.h"

#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <GLES2/gl2ext.h>

#include <array>
#include <map>
#include <vector>

namespace {

using namespace TestSupport;

// Above the largest enumerant that any table holds.
constexpr unsigned int Enumerants = 0x10000;

std::vector<unsigned int> SizedFormats()
{
    std::vector<unsigned int> formats;
    for (unsigned int value = 0; value < Enumerants; ++value) {
        if (Util::GetFormatFromInternalFormat(value) != 0) {
            formats.push_back(value);
        }
    }
    return formats;
}

/// Makes a 4 x 4 texture and binds it.
void MakeTexture(unsigned int internalFormat, unsigned int format, unsigned int type)
{
    NewTexture(GL_TEXTURE_2D);
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(internalFormat), 4, 4, 0, format, type, nullptr);
}

/// What GL says of level 0 of the texture bound.
unsigned int Ask(GLenum parameter)
{
    GLint value = -1;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, parameter, &value);
    return static_cast<unsigned int>(value);
}

// What no driver can be asked about.
TEST(GLUtils, FormatsWithoutATransferFormatOfTheirOwn)
{
    for (const unsigned int itself : {0x8D48U,    // GL_STENCIL_INDEX8
                                      0x87EEU,    // GL_ATC_RGBA_INTERPOLATED_ALPHA_AMD
                                      0x93B0U,    // GL_COMPRESSED_RGBA_ASTC_4x4_KHR
                                      0x93DDU}) { // GL_COMPRESSED_SRGB8_ALPHA8_ASTC_12x12_KHR
        EXPECT_EQ(Util::GetFormatFromInternalFormat(itself), itself) << itself;
        EXPECT_EQ(Util::GetTypeFromInternalFormat(itself), GL_UNSIGNED_BYTE) << itself;
    }
    for (const unsigned int none : {unsigned{GL_R16_EXT}, unsigned{GL_RGBA}, 0xFFFFFFFFU}) {
        EXPECT_EQ(Util::GetFormatFromInternalFormat(none), 0U) << none;
        EXPECT_EQ(Util::GetTypeFromInternalFormat(none), 0U) << none;
    }
}

TEST(GLUtils, PixelSizes)
{
    for (const GLenum type : {GLenum{GL_INT}, GLenum{GL_UNSIGNED_INT}, GLenum{GL_FLOAT}}) {
        EXPECT_EQ(Util::GetPitch(GL_RGBA, type), 16U);
    }
    EXPECT_EQ(Util::GetPitch(GL_RGBA, GL_UNSIGNED_BYTE), 4U);
    EXPECT_EQ(Util::GetPitch(GL_RGBA, GL_UNSIGNED_SHORT_4_4_4_4), 0U);
    EXPECT_EQ(Util::GetPitch(GL_RGBA_INTEGER, GL_INT), 0U);
    EXPECT_EQ(Util::GetPitch(GL_RGB, GL_UNSIGNED_BYTE), 0U);
}

TEST(GLUtils, ADepthStencilTextureHasTheBitsAskedFor)
{
    const GLContext context;
    std::vector<std::pair<int, int>> known;
    for (int depthBits = -1; depthBits <= 64; ++depthBits) {
        for (int stencilBits = -1; stencilBits <= 16; ++stencilBits) {
            unsigned int internalFormat = 1;
            unsigned int format = 1;
            unsigned int type = 1;
            Util::GetDepthStencilFormatType(depthBits, stencilBits, &internalFormat, &format, &type);
            if (internalFormat == 0) {
                EXPECT_EQ(format | type, 0U) << depthBits << ", " << stencilBits;
                continue;
            }
            known.emplace_back(depthBits, stencilBits);
            MakeTexture(internalFormat, format, type);
            EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR}) << depthBits << ", " << stencilBits;
            EXPECT_EQ(Ask(GL_TEXTURE_DEPTH_SIZE), static_cast<unsigned int>(depthBits));
            EXPECT_EQ(Ask(GL_TEXTURE_STENCIL_SIZE), static_cast<unsigned int>(stencilBits));
            EXPECT_EQ(Ask(GL_TEXTURE_DEPTH_TYPE) == GL_FLOAT, depthBits == 32);
        }
    }
    using Pair = std::pair<int, int>;
    EXPECT_THAT(known, testing::ElementsAre(Pair(0, 8), Pair(16, 0), Pair(24, 0), Pair(24, 8), Pair(32, 0),
                                            Pair(32, 8)));
    Util::GetDepthStencilFormatType(24, 8, nullptr, nullptr, nullptr);
}

TEST(GLUtils, UnsizedFormats)
{
    std::vector<unsigned int> unsized;
    for (unsigned int value = 0; value < Enumerants; ++value) {
        if (Util::IsUnsizedInternalFormat(value)) {
            unsized.push_back(value);
        }
    }
    EXPECT_THAT(unsized, testing::ElementsAre(0x1902, 0x1903, 0x1906, 0x1907, 0x1908, 0x1909, 0x190A, 0x8227,
                                              0x8228, 0x84F9, 0x8D94, 0x8D98, 0x8D99));
}

TEST(GLUtils, InternalFormatFromComponentsOfNoTexture)
{
    const struct
    {
        const char* name;
        std::array<unsigned int, 4> sizes;
        unsigned int redType;
        unsigned int base;
        unsigned int internalFormat;
    } cases[] = {
        {"without red", {0, 8, 8, 8}, 0, 0, 0},
        {"without green", {8, 0, 8, 8}, 0, GL_RED, GL_R8},
        {"without blue", {8, 8, 0, 8}, 0, GL_RG, GL_RG8},
        {"back buffer", {8, 8, 8, 8}, 0, GL_RGBA, GL_RGBA8},
        {"a type that 8 bits cannot have", {8, 8, 8, 8}, GL_FLOAT, GL_RGBA, GL_RGBA8},
        {"back buffer of 10 bits", {10, 10, 10, 2}, 0, GL_RGBA, GL_RGB10_A2},
        {"back buffer of half floats", {16, 16, 16, 16}, 0, GL_RGBA, GL_RGBA},
        {"16 bits, normalized", {16, 0, 0, 0}, GL_UNSIGNED_NORMALIZED, GL_RED, GL_RED},
        {"two sizes", {16, 8, 0, 0}, GL_FLOAT, GL_RG, GL_RG},
        {"huge", {~0U, ~0U, ~0U, ~0U}, ~0U, GL_RGBA, GL_RGBA},
    };
    for (const auto& [name, sizes, redType, base, internalFormat] : cases) {
        const auto [red, green, blue, alpha] = sizes;
        EXPECT_EQ(Util::GetFormatFromRGBAComponentSizes(red, green, blue, alpha), base) << name;
        // Of the types only the red one counts.
        EXPECT_EQ(Util::GetInternalFormatFromRGBAComponentInfo(red, green, blue, alpha, redType, GL_FLOAT,
                                                               GL_INT, GL_UNSIGNED_INT),
                  internalFormat)
            << name;
    }
}

// The driver takes every transfer format and tells the components of the texture; the format follows from
// them, but for those whose components look alike, and so does how its pixels are read.
TEST(GLUtils, FormatsOfTheDriversTextures)
{
    const std::map<unsigned int, unsigned int> lookAlikes{
        {GL_R8, GL_R8_SNORM}, {GL_RG8, GL_RG8_SNORM}, {GL_RGB8, GL_SRGB8}, {GL_RGBA8, GL_SRGB8_ALPHA8}};
    const GLContext context;
    int taken = 0;
    for (const unsigned int internalFormat : SizedFormats()) {
        SCOPED_TRACE(internalFormat);
        const unsigned int transfer = Util::GetFormatFromInternalFormat(internalFormat);
        if (transfer == internalFormat) {
            continue; // compressed, or stencil alone
        }
        MakeTexture(internalFormat, transfer, Util::GetTypeFromInternalFormat(internalFormat));
        EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
        EXPECT_EQ(Ask(GL_TEXTURE_INTERNAL_FORMAT), internalFormat);
        ++taken;
        if (Ask(GL_TEXTURE_RED_SIZE) == 0) {
            continue;
        }
        const auto lookAlike = lookAlikes.find(internalFormat);
        EXPECT_EQ(Util::GetInternalFormatFromRGBAComponentInfo(
                      Ask(GL_TEXTURE_RED_SIZE), Ask(GL_TEXTURE_GREEN_SIZE), Ask(GL_TEXTURE_BLUE_SIZE),
                      Ask(GL_TEXTURE_ALPHA_SIZE), Ask(GL_TEXTURE_RED_TYPE), Ask(GL_TEXTURE_GREEN_TYPE),
                      Ask(GL_TEXTURE_BLUE_TYPE), Ask(GL_TEXTURE_ALPHA_TYPE)),
                  lookAlike == lookAlikes.end() ? internalFormat : lookAlike->second);
        const unsigned int component = Ask(GL_TEXTURE_RED_TYPE);
        const bool isInteger = component == GL_INT || component == GL_UNSIGNED_INT;
        unsigned int format = 0;
        unsigned int type = 0;
        Util::GetReadPixelFormatType(internalFormat, &format, nullptr);
        Util::GetReadPixelFormatType(internalFormat, nullptr, &type);
        EXPECT_EQ(format, isInteger ? GL_RGBA_INTEGER : GL_RGBA);
        EXPECT_EQ(type, isInteger || component == GL_FLOAT ? component : GL_UNSIGNED_BYTE);
    }
    EXPECT_EQ(taken, 54);
}

TEST(GLUtils, InternalFormatFromTransferFormat)
{
    const std::array<unsigned int, 3> cases[]{
        {GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, GL_DEPTH_COMPONENT32_OES},
        {GL_DEPTH_COMPONENT, GL_INT, 0},
        {GL_RGBA, GL_HALF_FLOAT_OES, GL_RGBA16F},
        {GL_RGB, GL_UNSIGNED_INT_2_10_10_10_REV, GL_RGB10_EXT},
        {GL_STENCIL_INDEX, GL_UNSIGNED_INT, GL_STENCIL_INDEX8},
        {GL_STENCIL_INDEX8, GL_UNSIGNED_BYTE, 0},
        {GL_RGBA_INTEGER, GL_UNSIGNED_BYTE, 0},
        {GL_RED, GL_UNSIGNED_BYTE, 0},
    };
    for (const auto& [format, type, internalFormat] : cases) {
        EXPECT_EQ(Util::GetInternalFormat(format, type), internalFormat) << format << ' ' << type;
    }
    // Where both directions know a format, they agree, but for these.
    const std::map<unsigned int, unsigned int> others{
        {GL_SRGB8, GL_RGB8}, {GL_SRGB8_ALPHA8, GL_RGBA8}, {GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT32_OES}};
    int agreed = 0;
    for (const unsigned int internalFormat : SizedFormats()) {
        const unsigned int back = Util::GetInternalFormat(Util::GetFormatFromInternalFormat(internalFormat),
                                                          Util::GetTypeFromInternalFormat(internalFormat));
        const auto other = others.find(internalFormat);
        if (back != 0) {
            EXPECT_EQ(back, other == others.end() ? internalFormat : other->second) << internalFormat;
            ++agreed;
        }
    }
    EXPECT_EQ(agreed, 21);
}

TEST(GLUtils, BoundBuffers)
{
    const GLContext context;
    std::vector<GLenum> targets{GL_ARRAY_BUFFER,
                                GL_ELEMENT_ARRAY_BUFFER,
                                GL_PIXEL_PACK_BUFFER,
                                GL_PIXEL_UNPACK_BUFFER,
                                GL_UNIFORM_BUFFER,
                                GL_COPY_READ_BUFFER,
                                GL_COPY_WRITE_BUFFER,
                                GL_TRANSFORM_FEEDBACK_BUFFER,
                                GL_DRAW_INDIRECT_BUFFER,
                                GL_SHADER_STORAGE_BUFFER,
                                GL_DISPATCH_INDIRECT_BUFFER,
                                GL_ATOMIC_COUNTER_BUFFER};
    if (HasExtension("GL_EXT_texture_buffer")) {
        targets.push_back(GL_TEXTURE_BUFFER);
    }
    std::vector<GLuint> buffers(targets.size());
    glGenBuffers(static_cast<GLsizei>(buffers.size()), buffers.data());
    for (std::size_t i = 0; i < buffers.size(); ++i) {
        EXPECT_EQ(Util::GetBindBuffer(targets[i]), 0U) << targets[i];
        glBindBuffer(targets[i], buffers[i]);
    }
    for (std::size_t i = 0; i < buffers.size(); ++i) {
        EXPECT_EQ(Util::GetBindBuffer(targets[i]), buffers[i]) << targets[i];
    }
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
    const CallCounter calls;
    EXPECT_EQ(Util::GetBindBuffer(GL_TEXTURE_2D), 0U);
    const WithheldEntry withheld("glGetIntegerv");
    EXPECT_EQ(Util::GetBindBuffer(GL_ARRAY_BUFFER), 0U);
    EXPECT_EQ(calls.Count(), 0U);
}

} // namespace
