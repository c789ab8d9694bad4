#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Util {

/// Pixels are handled as words whose lowest byte is the first in memory.
static_assert(std::endian::native == std::endian::little);

/// Turns a pixel of R, G, B, A, as a little-endian word, into B, G, R, A, or back. Loops over it are
/// vectorised, unlike those that swap bytes in memory.
constexpr std::uint32_t SwapFirstAndThirdByte(std::uint32_t pixel)
{
    const std::uint32_t swapped = pixel & 0x00FF00FFU;
    return (pixel & 0xFF00FF00U) | swapped << 16 | swapped >> 16;
}

/// Turns RGBA pixels as read back from GL into 8-bit B, G, R, A.
///
/// Integers are taken as fractions of their type's largest value and scaled to 255; floats are scaled by 255.
/// The product is truncated, not rounded; below 0 and NaN become 0, above 255 becomes 255.
///
/// @param source  `count` pixels of `GetPitch(GL_RGBA, type)` bytes, of any alignment
/// @param count   number of pixels
/// @param type    `GL_UNSIGNED_BYTE`, `GL_UNSIGNED_INT`, `GL_INT` or `GL_FLOAT`
/// @param opaque  every alpha becomes 255
/// @param bgra    room for `count` x 4 bytes, which must not overlap the source
void ConvertToBGRA(const std::uint8_t* source, std::size_t count, unsigned int type, bool opaque,
                   std::uint8_t* bgra);

/// The same of pixels that are 8-bit B, G, R, A already.
void CopyBGRA(const std::uint8_t* source, std::size_t count, bool opaque, std::uint8_t* bgra);

} // namespace Util
