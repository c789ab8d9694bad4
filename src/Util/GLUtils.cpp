#include "Util/GLUtils.h"

#include "Util/GLDispatch.h"

#include <GLES3/gl32.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <array>
#include <ranges>

namespace Util {

namespace {

/// What `glReadPixels` converts a buffer's components to; the first is for a buffer of unknown format.
enum class Reading : unsigned char
{
    Normalized,
    Float,
    Unsigned,
    Signed
};

struct TransferFormat
{
    GLenum format;
    GLenum type;
};

constexpr TransferFormat TransferOf(Reading reading)
{
    switch (reading) {
    case Reading::Float:
        return {GL_RGBA, GL_FLOAT};
    case Reading::Unsigned:
        return {GL_RGBA_INTEGER, GL_UNSIGNED_INT};
    case Reading::Signed:
        return {GL_RGBA_INTEGER, GL_INT};
    case Reading::Normalized:
        break;
    }
    return {GL_RGBA, GL_UNSIGNED_BYTE};
}

struct SizedFormat
{
    GLenum internalFormat;
    GLenum format;
    GLenum type;
    Reading reading;
};

constexpr SizedFormat CompressedFormat(GLenum internalFormat)
{
    return {internalFormat, internalFormat, GL_UNSIGNED_BYTE, Reading::Normalized};
}

// clang-format off

constexpr SizedFormat SizedFormats[] = {
    // Normalized fixed-point colour.
    {GL_R8,                     GL_RED,             GL_UNSIGNED_BYTE,                  Reading::Normalized},
    {GL_RG8,                    GL_RG,              GL_UNSIGNED_BYTE,                  Reading::Normalized},
    {GL_RGB8,                   GL_RGB,             GL_UNSIGNED_BYTE,                  Reading::Normalized},
    {GL_RGBA8,                  GL_RGBA,            GL_UNSIGNED_BYTE,                  Reading::Normalized},
    {GL_SRGB8,                  GL_RGB,             GL_UNSIGNED_BYTE,                  Reading::Normalized},
    {GL_SRGB8_ALPHA8,           GL_RGBA,            GL_UNSIGNED_BYTE,                  Reading::Normalized},
    {GL_R8_SNORM,               GL_RED,             GL_BYTE,                           Reading::Normalized},
    {GL_RG8_SNORM,              GL_RG,              GL_BYTE,                           Reading::Normalized},
    {GL_RGB8_SNORM,             GL_RGB,             GL_BYTE,                           Reading::Normalized},
    {GL_RGBA8_SNORM,            GL_RGBA,            GL_BYTE,                           Reading::Normalized},
    {GL_RGB565,                 GL_RGB,             GL_UNSIGNED_SHORT_5_6_5,           Reading::Normalized},
    {GL_RGBA4,                  GL_RGBA,            GL_UNSIGNED_SHORT_4_4_4_4,         Reading::Normalized},
    {GL_RGB5_A1,                GL_RGBA,            GL_UNSIGNED_SHORT_5_5_5_1,         Reading::Normalized},
    {GL_RGB10_A2,               GL_RGBA,            GL_UNSIGNED_INT_2_10_10_10_REV,    Reading::Normalized},
    // Floating-point colour.
    {GL_R16F,                   GL_RED,             GL_HALF_FLOAT,                     Reading::Float},
    {GL_RG16F,                  GL_RG,              GL_HALF_FLOAT,                     Reading::Float},
    {GL_RGB16F,                 GL_RGB,             GL_HALF_FLOAT,                     Reading::Float},
    {GL_RGBA16F,                GL_RGBA,            GL_HALF_FLOAT,                     Reading::Float},
    {GL_R32F,                   GL_RED,             GL_FLOAT,                          Reading::Float},
    {GL_RG32F,                  GL_RG,              GL_FLOAT,                          Reading::Float},
    {GL_RGB32F,                 GL_RGB,             GL_FLOAT,                          Reading::Float},
    {GL_RGBA32F,                GL_RGBA,            GL_FLOAT,                          Reading::Float},
    {GL_R11F_G11F_B10F,         GL_RGB,             GL_UNSIGNED_INT_10F_11F_11F_REV,   Reading::Float},
    {GL_RGB9_E5,                GL_RGB,             GL_UNSIGNED_INT_5_9_9_9_REV,       Reading::Float},
    // Unsigned integer colour.
    {GL_R8UI,                   GL_RED_INTEGER,     GL_UNSIGNED_BYTE,                  Reading::Unsigned},
    {GL_RG8UI,                  GL_RG_INTEGER,      GL_UNSIGNED_BYTE,                  Reading::Unsigned},
    {GL_RGB8UI,                 GL_RGB_INTEGER,     GL_UNSIGNED_BYTE,                  Reading::Unsigned},
    {GL_RGBA8UI,                GL_RGBA_INTEGER,    GL_UNSIGNED_BYTE,                  Reading::Unsigned},
    {GL_R16UI,                  GL_RED_INTEGER,     GL_UNSIGNED_SHORT,                 Reading::Unsigned},
    {GL_RG16UI,                 GL_RG_INTEGER,      GL_UNSIGNED_SHORT,                 Reading::Unsigned},
    {GL_RGB16UI,                GL_RGB_INTEGER,     GL_UNSIGNED_SHORT,                 Reading::Unsigned},
    {GL_RGBA16UI,               GL_RGBA_INTEGER,    GL_UNSIGNED_SHORT,                 Reading::Unsigned},
    {GL_R32UI,                  GL_RED_INTEGER,     GL_UNSIGNED_INT,                   Reading::Unsigned},
    {GL_RG32UI,                 GL_RG_INTEGER,      GL_UNSIGNED_INT,                   Reading::Unsigned},
    {GL_RGB32UI,                GL_RGB_INTEGER,     GL_UNSIGNED_INT,                   Reading::Unsigned},
    {GL_RGBA32UI,               GL_RGBA_INTEGER,    GL_UNSIGNED_INT,                   Reading::Unsigned},
    {GL_RGB10_A2UI,             GL_RGBA_INTEGER,    GL_UNSIGNED_INT_2_10_10_10_REV,    Reading::Unsigned},
    // Signed integer colour.
    {GL_R8I,                    GL_RED_INTEGER,     GL_BYTE,                           Reading::Signed},
    {GL_RG8I,                   GL_RG_INTEGER,      GL_BYTE,                           Reading::Signed},
    {GL_RGB8I,                  GL_RGB_INTEGER,     GL_BYTE,                           Reading::Signed},
    {GL_RGBA8I,                 GL_RGBA_INTEGER,    GL_BYTE,                           Reading::Signed},
    {GL_R16I,                   GL_RED_INTEGER,     GL_SHORT,                          Reading::Signed},
    {GL_RG16I,                  GL_RG_INTEGER,      GL_SHORT,                          Reading::Signed},
    {GL_RGB16I,                 GL_RGB_INTEGER,     GL_SHORT,                          Reading::Signed},
    {GL_RGBA16I,                GL_RGBA_INTEGER,    GL_SHORT,                          Reading::Signed},
    {GL_R32I,                   GL_RED_INTEGER,     GL_INT,                            Reading::Signed},
    {GL_RG32I,                  GL_RG_INTEGER,      GL_INT,                            Reading::Signed},
    {GL_RGB32I,                 GL_RGB_INTEGER,     GL_INT,                            Reading::Signed},
    {GL_RGBA32I,                GL_RGBA_INTEGER,    GL_INT,                            Reading::Signed},
    // Depth and stencil.
    {GL_DEPTH_COMPONENT16,      GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT,                 Reading::Normalized},
    {GL_DEPTH_COMPONENT24,      GL_DEPTH_COMPONENT, GL_UNSIGNED_INT,                   Reading::Normalized},
    {GL_DEPTH_COMPONENT32F,     GL_DEPTH_COMPONENT, GL_FLOAT,                          Reading::Float},
    {GL_DEPTH24_STENCIL8,       GL_DEPTH_STENCIL,   GL_UNSIGNED_INT_24_8,              Reading::Normalized},
    {GL_DEPTH32F_STENCIL8,      GL_DEPTH_STENCIL,   GL_FLOAT_32_UNSIGNED_INT_24_8_REV, Reading::Float},
    {GL_STENCIL_INDEX8,         GL_STENCIL_INDEX8,  GL_UNSIGNED_BYTE,                  Reading::Unsigned},
    // Known for reading only.
    {GL_ALPHA16F_EXT,           GL_NONE,            GL_NONE,                           Reading::Float},
    {GL_LUMINANCE16F_EXT,       GL_NONE,            GL_NONE,                           Reading::Float},
    {GL_LUMINANCE_ALPHA16F_EXT, GL_NONE,            GL_NONE,                           Reading::Float},
    {GL_ALPHA32F_EXT,           GL_NONE,            GL_NONE,                           Reading::Float},
    {GL_LUMINANCE32F_EXT,       GL_NONE,            GL_NONE,                           Reading::Float},
    {GL_LUMINANCE_ALPHA32F_EXT, GL_NONE,            GL_NONE,                           Reading::Float},
    // Compressed; the format is the internal format.
    CompressedFormat(GL_ETC1_RGB8_OES),
    CompressedFormat(GL_COMPRESSED_R11_EAC),
    CompressedFormat(GL_COMPRESSED_SIGNED_R11_EAC),
    CompressedFormat(GL_COMPRESSED_RG11_EAC),
    CompressedFormat(GL_COMPRESSED_SIGNED_RG11_EAC),
    CompressedFormat(GL_COMPRESSED_RGB8_ETC2),
    CompressedFormat(GL_COMPRESSED_SRGB8_ETC2),
    CompressedFormat(GL_COMPRESSED_RGB8_PUNCHTHROUGH_ALPHA1_ETC2),
    CompressedFormat(GL_COMPRESSED_SRGB8_PUNCHTHROUGH_ALPHA1_ETC2),
    CompressedFormat(GL_COMPRESSED_RGBA8_ETC2_EAC),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ETC2_EAC),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_4x4_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_5x4_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_5x5_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_6x5_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_6x6_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_8x5_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_8x6_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_8x8_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_10x5_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_10x6_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_10x8_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_10x10_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_12x10_KHR),
    CompressedFormat(GL_COMPRESSED_RGBA_ASTC_12x12_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_4x4_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_5x4_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_5x5_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_6x5_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_6x6_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_8x5_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_8x6_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_8x8_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_10x5_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_10x6_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_10x8_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_10x10_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_12x10_KHR),
    CompressedFormat(GL_COMPRESSED_SRGB8_ALPHA8_ASTC_12x12_KHR),
    CompressedFormat(GL_ATC_RGB_AMD),
    CompressedFormat(GL_ATC_RGBA_EXPLICIT_ALPHA_AMD),
    CompressedFormat(GL_ATC_RGBA_INTERPOLATED_ALPHA_AMD),
    CompressedFormat(GL_3DC_X_AMD),
    CompressedFormat(GL_3DC_XY_AMD),
};

struct ComponentLayout
{
    std::array<unsigned int, 4> sizes; ///< red, green, blue, alpha
    GLenum redType;
    GLenum internalFormat;
};

constexpr GLenum AnyType = GL_NONE;

// The first row that fits is taken.
constexpr ComponentLayout ComponentLayouts[] = {
    {{ 8,  0,  0,  0}, GL_SIGNED_NORMALIZED,   GL_R8_SNORM},
    {{ 8,  0,  0,  0}, GL_UNSIGNED_NORMALIZED, GL_R8_SNORM},
    {{ 8,  0,  0,  0}, GL_UNSIGNED_INT,        GL_R8UI},
    {{ 8,  0,  0,  0}, GL_INT,                 GL_R8I},
    {{ 8,  0,  0,  0}, AnyType,                GL_R8},
    {{16,  0,  0,  0}, GL_FLOAT,               GL_R16F},
    {{16,  0,  0,  0}, GL_UNSIGNED_INT,        GL_R16UI},
    {{16,  0,  0,  0}, GL_INT,                 GL_R16I},
    {{32,  0,  0,  0}, GL_FLOAT,               GL_R32F},
    {{32,  0,  0,  0}, GL_UNSIGNED_INT,        GL_R32UI},
    {{32,  0,  0,  0}, GL_INT,                 GL_R32I},
    {{ 8,  8,  0,  0}, GL_SIGNED_NORMALIZED,   GL_RG8_SNORM},
    {{ 8,  8,  0,  0}, GL_UNSIGNED_NORMALIZED, GL_RG8_SNORM},
    {{ 8,  8,  0,  0}, GL_UNSIGNED_INT,        GL_RG8UI},
    {{ 8,  8,  0,  0}, GL_INT,                 GL_RG8I},
    {{ 8,  8,  0,  0}, AnyType,                GL_RG8},
    {{16, 16,  0,  0}, GL_FLOAT,               GL_RG16F},
    {{16, 16,  0,  0}, GL_UNSIGNED_INT,        GL_RG16UI},
    {{16, 16,  0,  0}, GL_INT,                 GL_RG16I},
    {{32, 32,  0,  0}, GL_FLOAT,               GL_RG32F},
    {{32, 32,  0,  0}, GL_UNSIGNED_INT,        GL_RG32UI},
    {{32, 32,  0,  0}, GL_INT,                 GL_RG32I},
    {{ 8,  8,  8,  0}, GL_SIGNED_NORMALIZED,   GL_RGB8_SNORM},
    {{ 8,  8,  8,  0}, GL_UNSIGNED_NORMALIZED, GL_SRGB8},
    {{ 8,  8,  8,  0}, GL_UNSIGNED_INT,        GL_RGB8UI},
    {{ 8,  8,  8,  0}, GL_INT,                 GL_RGB8I},
    {{ 8,  8,  8,  0}, AnyType,                GL_RGB8},
    {{ 5,  6,  5,  0}, AnyType,                GL_RGB565},
    {{ 9,  9,  9,  0}, AnyType,                GL_RGB9_E5},
    {{11, 11, 10,  0}, AnyType,                GL_R11F_G11F_B10F},
    {{16, 16, 16,  0}, GL_FLOAT,               GL_RGB16F},
    {{16, 16, 16,  0}, GL_UNSIGNED_INT,        GL_RGB16UI},
    {{16, 16, 16,  0}, GL_INT,                 GL_RGB16I},
    {{32, 32, 32,  0}, GL_FLOAT,               GL_RGB32F},
    {{32, 32, 32,  0}, GL_UNSIGNED_INT,        GL_RGB32UI},
    {{32, 32, 32,  0}, GL_INT,                 GL_RGB32I},
    {{ 8,  8,  8,  8}, GL_SIGNED_NORMALIZED,   GL_RGBA8_SNORM},
    {{ 8,  8,  8,  8}, GL_UNSIGNED_NORMALIZED, GL_SRGB8_ALPHA8},
    {{ 8,  8,  8,  8}, GL_UNSIGNED_INT,        GL_RGBA8UI},
    {{ 8,  8,  8,  8}, GL_INT,                 GL_RGBA8I},
    {{ 8,  8,  8,  8}, AnyType,                GL_RGBA8},
    {{ 4,  4,  4,  4}, AnyType,                GL_RGBA4},
    {{ 5,  5,  5,  1}, AnyType,                GL_RGB5_A1},
    {{10, 10, 10,  2}, GL_UNSIGNED_INT,        GL_RGB10_A2UI},
    {{10, 10, 10,  2}, AnyType,                GL_RGB10_A2},
    {{16, 16, 16, 16}, GL_FLOAT,               GL_RGBA16F},
    {{16, 16, 16, 16}, GL_UNSIGNED_INT,        GL_RGBA16UI},
    {{16, 16, 16, 16}, GL_INT,                 GL_RGBA16I},
    {{32, 32, 32, 32}, GL_FLOAT,               GL_RGBA32F},
    {{32, 32, 32, 32}, GL_UNSIGNED_INT,        GL_RGBA32UI},
    {{32, 32, 32, 32}, GL_INT,                 GL_RGBA32I},
};

struct DepthStencilLayout
{
    int depthBits;
    int stencilBits;
    GLenum internalFormat;
    GLenum format;
    GLenum type;
};

constexpr DepthStencilLayout DepthStencilLayouts[] = {
    {24, 8, GL_DEPTH24_STENCIL8,   GL_DEPTH_STENCIL,   GL_UNSIGNED_INT_24_8},
    {32, 8, GL_DEPTH32F_STENCIL8,  GL_DEPTH_STENCIL,   GL_FLOAT_32_UNSIGNED_INT_24_8_REV},
    { 0, 8, GL_STENCIL_INDEX8,     GL_STENCIL_INDEX,   GL_UNSIGNED_BYTE},
    {16, 0, GL_DEPTH_COMPONENT16,  GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT},
    {24, 0, GL_DEPTH_COMPONENT24,  GL_DEPTH_COMPONENT, GL_UNSIGNED_INT},
    {32, 0, GL_DEPTH_COMPONENT32F, GL_DEPTH_COMPONENT, GL_FLOAT},
};

struct UploadFormat
{
    GLenum format;
    GLenum type;
    GLenum internalFormat;
};

constexpr UploadFormat UploadFormats[] = {
    {GL_RGB,             GL_UNSIGNED_BYTE,                  GL_RGB8},
    {GL_RGB,             GL_BYTE,                           GL_RGB8_SNORM},
    {GL_RGB,             GL_FLOAT,                          GL_RGB32F},
    {GL_RGB,             GL_HALF_FLOAT,                     GL_RGB16F},
    {GL_RGB,             GL_HALF_FLOAT_OES,                 GL_RGB16F},
    {GL_RGB,             GL_UNSIGNED_SHORT_5_6_5,           GL_RGB565},
    {GL_RGB,             GL_UNSIGNED_INT_2_10_10_10_REV,    GL_RGB10_EXT},
    {GL_RGB,             GL_UNSIGNED_INT_10F_11F_11F_REV,   GL_R11F_G11F_B10F},
    {GL_RGB,             GL_UNSIGNED_INT_5_9_9_9_REV,       GL_RGB9_E5},
    {GL_RGBA,            GL_UNSIGNED_BYTE,                  GL_RGBA8},
    {GL_RGBA,            GL_BYTE,                           GL_RGBA8_SNORM},
    {GL_RGBA,            GL_FLOAT,                          GL_RGBA32F},
    {GL_RGBA,            GL_HALF_FLOAT,                     GL_RGBA16F},
    {GL_RGBA,            GL_HALF_FLOAT_OES,                 GL_RGBA16F},
    {GL_RGBA,            GL_UNSIGNED_SHORT_4_4_4_4,         GL_RGBA4},
    {GL_RGBA,            GL_UNSIGNED_SHORT_5_5_5_1,         GL_RGB5_A1},
    {GL_RGBA,            GL_UNSIGNED_INT_2_10_10_10_REV,    GL_RGB10_A2},
    {GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT,                 GL_DEPTH_COMPONENT16},
    {GL_DEPTH_COMPONENT, GL_UNSIGNED_INT,                   GL_DEPTH_COMPONENT32_OES},
    {GL_DEPTH_COMPONENT, GL_FLOAT,                          GL_DEPTH_COMPONENT32F},
    {GL_DEPTH_STENCIL,   GL_UNSIGNED_INT_24_8,              GL_DEPTH24_STENCIL8},
    {GL_DEPTH_STENCIL,   GL_FLOAT_32_UNSIGNED_INT_24_8_REV, GL_DEPTH32F_STENCIL8},
    {GL_STENCIL_INDEX,   GL_UNSIGNED_BYTE,                  GL_STENCIL_INDEX8},
    {GL_STENCIL_INDEX,   GL_UNSIGNED_INT,                   GL_STENCIL_INDEX8},
};

constexpr GLenum UnsizedFormats[] = {
    GL_RED,         GL_RG,         GL_RGB,         GL_RGBA,
    GL_RED_INTEGER, GL_RG_INTEGER, GL_RGB_INTEGER, GL_RGBA_INTEGER,
    GL_ALPHA,       GL_LUMINANCE,  GL_LUMINANCE_ALPHA,
    GL_DEPTH_COMPONENT, GL_DEPTH_STENCIL,
};

struct PixelSize
{
    GLenum format;
    GLenum type;
    unsigned int bytes;
};

constexpr PixelSize PixelSizes[] = {
    {GL_RGBA, GL_UNSIGNED_BYTE, 4},
    {GL_RGBA, GL_INT,           16},
    {GL_RGBA, GL_UNSIGNED_INT,  16},
    {GL_RGBA, GL_FLOAT,         16},
};

struct BufferBinding
{
    GLenum target;
    GLenum binding;
};

constexpr BufferBinding BufferBindings[] = {
    {GL_ARRAY_BUFFER,              GL_ARRAY_BUFFER_BINDING},
    {GL_ATOMIC_COUNTER_BUFFER,     GL_ATOMIC_COUNTER_BUFFER_BINDING},
    {GL_COPY_READ_BUFFER,          GL_COPY_READ_BUFFER_BINDING},
    {GL_COPY_WRITE_BUFFER,         GL_COPY_WRITE_BUFFER_BINDING},
    {GL_DISPATCH_INDIRECT_BUFFER,  GL_DISPATCH_INDIRECT_BUFFER_BINDING},
    {GL_DRAW_INDIRECT_BUFFER,      GL_DRAW_INDIRECT_BUFFER_BINDING},
    {GL_ELEMENT_ARRAY_BUFFER,      GL_ELEMENT_ARRAY_BUFFER_BINDING},
    {GL_PIXEL_PACK_BUFFER,         GL_PIXEL_PACK_BUFFER_BINDING},
    {GL_PIXEL_UNPACK_BUFFER,       GL_PIXEL_UNPACK_BUFFER_BINDING},
    {GL_SHADER_STORAGE_BUFFER,     GL_SHADER_STORAGE_BUFFER_BINDING},
    {GL_TEXTURE_BUFFER,            GL_TEXTURE_BUFFER_BINDING},
    {GL_TRANSFORM_FEEDBACK_BUFFER, GL_TRANSFORM_FEEDBACK_BUFFER_BINDING},
    {GL_UNIFORM_BUFFER,            GL_UNIFORM_BUFFER_BINDING},
};

// clang-format on

/// @return the first row that fits; one of zeros, which stand for unknown, where none does
template <typename Rows, typename Fits>
constexpr std::ranges::range_value_t<Rows> FindRow(const Rows& rows, Fits fits)
{
    const auto row = std::ranges::find_if(rows, fits);
    return row == std::ranges::end(rows) ? std::ranges::range_value_t<Rows>{} : *row;
}

constexpr SizedFormat FindSizedFormat(GLenum internalFormat)
{
    return FindRow(SizedFormats,
                   [=](const SizedFormat& row) { return row.internalFormat == internalFormat; });
}

static_assert(std::ranges::count_if(SizedFormats, [](const auto& row) { return row.format != 0; }) == 99);
static_assert(std::ranges::all_of(SizedFormats, [](const auto& row) {
    return std::ranges::count(SizedFormats, row.internalFormat, &SizedFormat::internalFormat) == 1;
}));
static_assert(std::ranges::all_of(ComponentLayouts, [](const auto& row) {
    return FindSizedFormat(row.internalFormat).internalFormat != 0;
}));

void Put(unsigned int* place, unsigned int value)
{
    if (place) {
        *place = value;
    }
}

} // namespace

unsigned int GetBindBuffer(unsigned int target)
{
    const BufferBinding row =
        FindRow(BufferBindings, [=](const auto& candidate) { return candidate.target == target; });
    GLint buffer = 0;
    if (row.binding != 0 && !GL::GetIntegerv.IsMissing()) {
        GL::GetIntegerv(row.binding, &buffer);
    }
    return static_cast<unsigned int>(buffer);
}

unsigned int GetPitch(unsigned int format, unsigned int type)
{
    return FindRow(PixelSizes, [=](const auto& row) { return row.format == format && row.type == type; })
        .bytes;
}

void GetReadPixelFormatType(unsigned int internalFormat, unsigned int* format, unsigned int* type)
{
    const TransferFormat transfer = TransferOf(FindSizedFormat(internalFormat).reading);
    Put(format, transfer.format);
    Put(type, transfer.type);
}

void GetDepthStencilFormatType(int depthBits, int stencilBits, unsigned int* internalFormat,
                               unsigned int* format, unsigned int* type)
{
    const DepthStencilLayout layout = FindRow(DepthStencilLayouts, [=](const auto& row) {
        return row.depthBits == depthBits && row.stencilBits == stencilBits;
    });
    Put(internalFormat, layout.internalFormat);
    Put(format, layout.format);
    Put(type, layout.type);
}

bool IsUnsizedInternalFormat(unsigned int internalFormat)
{
    return std::ranges::find(UnsizedFormats, internalFormat) != std::end(UnsizedFormats);
}

unsigned int GetFormatFromRGBAComponentSizes(unsigned int redSize, unsigned int greenSize,
                                             unsigned int blueSize, unsigned int alphaSize)
{
    constexpr std::array<GLenum, 5> BaseFormats{GL_NONE, GL_RED, GL_RG, GL_RGB, GL_RGBA};
    const std::array sizes{redSize, greenSize, blueSize, alphaSize};
    return BaseFormats[static_cast<std::size_t>(std::ranges::find(sizes, 0U) - sizes.begin())];
}

unsigned int GetInternalFormatFromRGBAComponentInfo(unsigned int redSize, unsigned int greenSize,
                                                    unsigned int blueSize, unsigned int alphaSize,
                                                    unsigned int redType, unsigned int /*greenType*/,
                                                    unsigned int /*blueType*/, unsigned int /*alphaType*/)
{
    std::array sizes{redSize, greenSize, blueSize, alphaSize};
    std::fill(std::ranges::find(sizes, 0U), sizes.end(), 0U);
    const ComponentLayout layout = FindRow(ComponentLayouts, [&](const auto& row) {
        return row.sizes == sizes && (row.redType == redType || row.redType == AnyType);
    });
    return layout.internalFormat != 0
               ? layout.internalFormat
               : GetFormatFromRGBAComponentSizes(redSize, greenSize, blueSize, alphaSize);
}

unsigned int GetFormatFromInternalFormat(unsigned int internalFormat)
{
    return FindSizedFormat(internalFormat).format;
}

unsigned int GetTypeFromInternalFormat(unsigned int internalFormat)
{
    return FindSizedFormat(internalFormat).type;
}

unsigned int GetInternalFormat(unsigned int format, unsigned int type)
{
    return FindRow(UploadFormats, [=](const auto& row) { return row.format == format && row.type == type; })
        .internalFormat;
}

} // namespace Util
