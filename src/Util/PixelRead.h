#pragma once

#include "Util/GLCopy.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Util {

/// Reads pixels of the framebuffer bound for reading, from its origin. What a smaller source does not have is
/// zero, and so is everything when the driver refuses: never what the memory held before. Needs packed rows
/// and quiet errors.
///
/// @param memory  as many bytes as the pixels take
/// @param pitch   bytes a pixel, at most 16
/// @param isZero  the memory is zero already
/// @return `GL_NO_ERROR`, or what the driver raised
GLenum ReadPixels(Size size, GLenum format, GLenum type, std::span<std::uint8_t> memory, std::size_t pitch,
                  bool isZero);

/// Whether the driver names bytes in the order B, G, R, A as its own for the buffer selected for reading.
/// Needs quiet errors.
bool IsOwnOrderBGRA();

} // namespace Util
