#pragma once

#include "Util/CapturedValues.h"

#include <GLES3/gl32.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace TestSupport {

using Bytes = std::vector<std::uint8_t>;

template <typename Number>
Bytes BytesOf(const std::vector<Number>& numbers)
{
    Bytes bytes(numbers.size() * sizeof(Number));
    std::memcpy(bytes.data(), numbers.data(), bytes.size());
    return bytes;
}

/// Two texels of a format of colors, one above the other, and what is read back of them.
struct ColorRow
{
    const char* name;
    GLenum internalFormat;
    GLenum format;
    GLenum type;
    Bytes texels;
    Util::CapturedValues::ValueType valueType;
    std::array<std::uint32_t, 4> bits;
    Bytes values;
};

/// @return a row for each kind of format; a driver may lack some
std::vector<ColorRow> ColorRows();

/// Makes a framebuffer object of one texture.
void AttachTexels(GLenum point, GLenum internalFormat, int width, int height, GLenum format, GLenum type,
                  const void* texels);

} // namespace TestSupport
