#include "Util/GLDepthValues.h"

#include "Util/GLDepthStencilCopy.h"
#include "Util/GLDispatch.h"
#include "Util/PixelBuffer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace Util {

namespace {

/// Draws depth as the bits of its floats, into integers: out of a target of floats, a driver may deliver
/// others than were drawn.
constexpr ShaderPair DepthValueShaders{QuadVertexShader,
                                       R"(#version 300 es
precision highp float;
in vec2 texcoord;
uniform highp sampler2D tex;
out highp uvec4 bits;
void main()
{
    bits = uvec4(floatBitsToUint(texture(tex, texcoord).r));
}
)"};

/// One way to read a depth buffer's values with `GL_NV_read_depth` and `GL_NV_read_depth_stencil`.
struct DepthReading
{
    bool isFloat;
    GLuint bits;
    bool isPacked; ///< with stencil
    const char* extension;
    GLenum format;
    GLenum type;
    unsigned int pitch; ///< bytes a pixel
};

constexpr std::array<DepthReading, 5> DepthReadings{{
    {false, 16, false, "GL_NV_read_depth", GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT, 2},
    {false, 24, true, "GL_NV_read_depth_stencil", GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8, 4},
    {false, 24, false, "GL_NV_read_depth", GL_DEPTH_COMPONENT, GL_UNSIGNED_INT_24_8, 4},
    {false, 32, false, "GL_NV_read_depth", GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, 4},
    {true, 32, false, "GL_NV_read_depth", GL_DEPTH_COMPONENT, GL_FLOAT, 4},
}};

const DepthReading* FindDepthReading(const DepthBuffer& buffer)
{
    const auto* const reading = std::ranges::find_if(DepthReadings, [&](const DepthReading& row) {
        return row.isFloat == buffer.isFloat && row.bits == buffer.bits &&
               (!row.isPacked || buffer.stencilBits != 0) && HasExtension(row.extension);
    });
    return reading == DepthReadings.end() ? nullptr : reading;
}

/// @return the float nearest to n / (2^bits - 1)
float Normalized(std::uint32_t n, GLuint bits)
{
    if (bits <= 24) {
        // The quotient of two floats of twice the precision is never so near to the middle between two floats
        // that to round it again goes wrong.
        return static_cast<float>(static_cast<double>(n) /
                                  static_cast<double>((std::uint64_t{1} << bits) - 1));
    }
    // n / (2^32 - 1) has the digits of n over and over behind the point: twice are enough to round it right.
    const std::uint64_t digits = std::uint64_t{n} << 32 | n;
    return std::ldexp(static_cast<float>(digits), -64);
}

/// Turns what was read into floats.
void ConvertDepth(const DepthReading& reading, const std::uint8_t* raw, std::size_t count,
                  std::uint8_t* values)
{
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t n = 0;
        std::memcpy(&n, raw + i * reading.pitch, reading.pitch);
        if constexpr (std::endian::native == std::endian::big) {
            n >>= 8 * (sizeof(n) - reading.pitch);
        }
        // 24 bits come as the upper ones of 32, with stencil or more digits below them.
        const float value = reading.isFloat ? std::bit_cast<float>(n)
                                            : Normalized(reading.bits == 24 ? n >> 8 : n, reading.bits);
        std::memcpy(values + i * sizeof(value), &value, sizeof(value));
    }
}

/// Reads depth of the framebuffer bound for reading. @return whether the driver does
bool ReadDepth(const DepthReading& reading, Size size, std::uint8_t* values)
{
    const auto columns = static_cast<std::uint32_t>(size.width);
    const auto rows = static_cast<std::uint32_t>(size.height);
    const PixelBuffer raw = AllocatePixels(columns, rows, reading.pitch);
    TakeError();
    if (raw) {
        GL::ReadPixels(0, 0, size.width, size.height, reading.format, reading.type, raw.get());
    }
    if (!raw || TakeError() != GL_NO_ERROR) {
        return false;
    }
    ConvertDepth(reading, raw.get(), std::size_t{columns} * rows, values);
    return true;
}

/// Reads the bits of floats that a shader has drawn.
bool ReadSampledDepth(const DepthBuffer& buffer, std::uint8_t* values)
{
    // Four components can always be read, of which one counts.
    const bool isOneOffered = GetInteger(GL_IMPLEMENTATION_COLOR_READ_FORMAT) == GL_RED_INTEGER &&
                              GetInteger(GL_IMPLEMENTATION_COLOR_READ_TYPE) == GL_UNSIGNED_INT;
    const GLenum format = isOneOffered ? GL_RED_INTEGER : GL_RGBA_INTEGER;
    const std::size_t pitch = isOneOffered ? 4 : 16;
    const auto columns = static_cast<std::uint32_t>(buffer.size.width);
    const auto rows = static_cast<std::uint32_t>(buffer.size.height);
    const PixelBuffer raw = AllocatePixels(columns, rows, pitch);
    if (raw) {
        GL::ReadPixels(0, 0, buffer.size.width, buffer.size.height, format, GL_UNSIGNED_INT, raw.get());
    }
    if (!raw || TakeError() != GL_NO_ERROR) {
        return false;
    }
    const bool canTellFraction = !buffer.isFloat && buffer.bits <= 16;
    const float most = canTellFraction ? static_cast<float>((1U << buffer.bits) - 1) : 1.0F;
    for (std::size_t i = 0; i < std::size_t{columns} * rows; ++i) {
        float value = 0.0F;
        std::memcpy(&value, raw.get() + i * pitch, sizeof(value));
        if (canTellFraction) {
            value = Normalized(static_cast<std::uint32_t>(std::lround(value * most)), buffer.bits);
        }
        std::memcpy(values + i * sizeof(value), &value, sizeof(value));
    }
    return true;
}

DepthResult TryDepthValues(const DepthBuffer& buffer, std::uint8_t* values)
{
    TemporaryObjects objects;
    const NeutralState state;
    const DepthReading* const reading = FindDepthReading(buffer);
    const bool isWhole = !buffer.isMultisampled;
    if (reading && isWhole) {
        GL::BindFramebuffer(GL_READ_FRAMEBUFFER, state.Source());
        const SelectedReadBuffer selected(DefaultReadBuffer(state.Source())); // some drivers ask for one
        if (ReadDepth(*reading, buffer.size, values)) {
            return {nullptr, true};
        }
    }
    if (CopySource(objects, state.Source(), buffer.copy, buffer.size, Component::Depth) != GL_NO_ERROR) {
        return {"the driver refused to copy them", false};
    }
    GL::BindFramebuffer(GL_FRAMEBUFFER, objects.framebuffer);
    if (reading && reading->isPacked) {
        GL::FramebufferTexture2D(GL_FRAMEBUFFER, GL_STENCIL_ATTACHMENT, GL_TEXTURE_2D, objects.copy, 0);
    }
    if (reading && ReadDepth(*reading, buffer.size, values)) {
        return {nullptr, isWhole};
    }
    constexpr ImageLayout Bits{GL_R32UI, GL_RED_INTEGER, GL_UNSIGNED_INT};
    if (const char* const reason = DrawCopy(objects, state, DepthValueShaders, Bits, buffer.size)) {
        return {reason, false};
    }
    if (!ReadSampledDepth(buffer, values)) {
        return {"the driver refused to draw or to read them", false};
    }
    return {nullptr, isWhole && !buffer.isFloat && buffer.bits <= 16};
}

} // namespace

DepthResult ReadDepthValues(const DepthBuffer& buffer, std::uint8_t* values)
{
    const QuietErrors quiet;
    return TryDepthValues(buffer, values);
}

} // namespace Util
