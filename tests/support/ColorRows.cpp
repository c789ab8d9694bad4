#include "support/ColorRows.h"

#include "support/Scene.h"

#include <GLES2/gl2ext.h>

namespace TestSupport {

std::vector<ColorRow> ColorRows()
{
    using enum Util::CapturedValues::ValueType;
    // NaN with a payload, infinities, the smallest of the subnormals, minus 0, the largest.
    const Bytes bytes{1, 2, 3, 4, 250, 251, 252, 253};
    const Bytes halves = BytesOf<std::uint16_t>({0x7E55, 0x7C00, 0x8001, 0x3C00, 0xFC00, 0, 0x8000, 0x7BFF});
    const Bytes floats = BytesOf<std::uint32_t>(
        {0x7FC12345, 0x7F800000, 0xFF800000, 0x3F800001, 0x7F7FFFFF, 0x80000000, 0x3DCCCCCD, 0xC2F6E979});
    const Bytes integers = BytesOf<std::int32_t>({-2147483647 - 1, 2147483647, -1, 0, 1, 2, 3, 0x12345678});
    const Bytes tens = BytesOf<std::uint32_t>({1023U | 1U << 10 | 513U << 20 | 2U << 30, 0x12345678});
    // clang-format off
    return {
        {"GL_RGBA8", GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, bytes, Unorm8, {8, 8, 8, 8}, bytes},
        {"GL_SRGB8_ALPHA8", GL_SRGB8_ALPHA8, GL_RGBA, GL_UNSIGNED_BYTE, bytes, Unorm8, {8, 8, 8, 8}, bytes},
        {"GL_R8", GL_R8, GL_RED, GL_UNSIGNED_BYTE, {9, 8}, Unorm8, {8, 0, 0, 0},
         {9, 0, 0, 255, 8, 0, 0, 255}},
        {"GL_RGB565", GL_RGB565, GL_RGB, GL_UNSIGNED_SHORT_5_6_5,
         BytesOf<std::uint16_t>({17 << 11 | 33 << 5 | 3, 30 << 11 | 62 << 5 | 31}), Float32,
         {5, 6, 5, 0},
         BytesOf<float>({17.0F / 31, 33.0F / 63, 3.0F / 31, 1.0F, 30.0F / 31, 62.0F / 63, 1.0F, 1.0F})},
        {"GL_RGB10_A2", GL_RGB10_A2, GL_RGBA, GL_UNSIGNED_INT_2_10_10_10_REV, tens, Unorm10A2,
         {10, 10, 10, 2}, tens},
        {"GL_RGBA16_EXT", GL_RGBA16_EXT, GL_RGBA, GL_UNSIGNED_SHORT, halves, Unorm16,
         {16, 16, 16, 16}, halves},
        {"GL_RGBA8_SNORM", GL_RGBA8_SNORM, GL_RGBA, GL_BYTE, {0x81, 0x7F, 0xFF, 0, 0x80, 64, 1, 2},
         Float32, {8, 8, 8, 8},
         BytesOf<float>({-1.0F, 1.0F, -1.0F / 127, 0.0F, -1.0F, 64.0F / 127, 1.0F / 127, 2.0F / 127})},
        {"GL_RGBA16F", GL_RGBA16F, GL_RGBA, GL_HALF_FLOAT, halves, Float16, {16, 16, 16, 16}, halves},
        {"GL_RG16F", GL_RG16F, GL_RG, GL_HALF_FLOAT, BytesOf<std::uint16_t>({0x7E55, 0x7C00, 0x8001, 0x7BFF}),
         Float16, {16, 16, 0, 0},
         BytesOf<std::uint16_t>({0x7E55, 0x7C00, 0, 0x3C00, 0x8001, 0x7BFF, 0, 0x3C00})},
        {"GL_R11F_G11F_B10F", GL_R11F_G11F_B10F, GL_RGB, GL_FLOAT,
         BytesOf<float>({0.5F, 1.25F, 64512.0F, 0.0F, 3.0F, 0.0625F}), Float32, {11, 11, 10, 0},
         BytesOf<float>({0.5F, 1.25F, 64512.0F, 1.0F, 0.0F, 3.0F, 0.0625F, 1.0F})},
        {"GL_RGBA32F", GL_RGBA32F, GL_RGBA, GL_FLOAT, floats, Float32, {32, 32, 32, 32}, floats},
        {"GL_RGBA8UI", GL_RGBA8UI, GL_RGBA_INTEGER, GL_UNSIGNED_BYTE, bytes, UInt32, {8, 8, 8, 8},
         BytesOf<std::uint32_t>({1, 2, 3, 4, 250, 251, 252, 253})},
        {"GL_R32UI", GL_R32UI, GL_RED_INTEGER, GL_UNSIGNED_INT,
         BytesOf<std::uint32_t>({0xFFFFFFFF, 0x80000000}),
         UInt32, {32, 0, 0, 0}, BytesOf<std::uint32_t>({0xFFFFFFFF, 0, 0, 1, 0x80000000, 0, 0, 1})},
        {"GL_RG16I", GL_RG16I, GL_RG_INTEGER, GL_SHORT, BytesOf<std::int16_t>({-32768, 32767, -1, 0}),
         Int32, {16, 16, 0, 0}, BytesOf<std::int32_t>({-32768, 32767, 0, 1, -1, 0, 0, 1})},
        {"GL_RGBA32I", GL_RGBA32I, GL_RGBA_INTEGER, GL_INT, integers, Int32, {32, 32, 32, 32},
         integers},
    };
    // clang-format on
}

void AttachTexels(GLenum point, GLenum internalFormat, int width, int height, GLenum format, GLenum type,
                  const void* texels)
{
    NewFramebuffer();
    const GLuint texture = NewTexture(GL_TEXTURE_2D);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(internalFormat), width, height, 0, format, type,
                 texels);
    glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_2D, texture, 0);
}

} // namespace TestSupport
