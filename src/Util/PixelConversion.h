#pragma once

#include <cstddef>
#include <cstdint>

namespace Util {

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

} // namespace Util
