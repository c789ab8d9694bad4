#pragma once

#include "support/Quadrants.h"

namespace TestSupport {

/// Whether the driver copies the quadrants right from the framebuffer bound for drawing, asked by GL alone:
/// what it gets wrong by itself is no fault of the library's, and is not worked around there.
///
/// @param kind      depth and stencil are asked for a packed format of 24 and 8 bits, and where GL can read
///                  them back
/// @param expected  what each quadrant should look like
/// @param divisor   what the size is scaled down by; colour alone is scaled
/// @return true as well where the driver refuses the copy, which is not wrong
bool CopiesRight(Kind kind, int width, int height, const std::array<Pixel, 4>& expected, int divisor);

/// Whether the driver reads the colour of the framebuffer bound for reading, asked by GL alone. Some refuse a
/// multisampled pixel buffer surface, others read the first of several views.
bool ReadsPixels();

} // namespace TestSupport
