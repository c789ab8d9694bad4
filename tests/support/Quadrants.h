#pragma once

#include "support/Image.h"

#include <array>
#include <cstdint>
#include <string>

namespace TestSupport {

enum class Kind
{
    Color,
    Depth,
    Stencil
};
inline constexpr std::array AllKinds{Kind::Color, Kind::Depth, Kind::Stencil};

/// What one quarter of a test picture holds.
struct Quadrant
{
    std::array<float, 4> color;
    float depth;
    int stencil;
};

/// Bottom left, bottom right, top left, top right. The colours survive 16-bit formats, the depths are exact
/// in all of them.
constexpr std::array<Quadrant, 4> Quadrants{{
    {{1.0F, 0.0F, 0.0F, 1.0F}, 0.0F, 0},
    {{0.0F, 1.0F, 0.0F, 0.0F}, 1.0F, 255},
    {{0.0F, 0.0F, 1.0F, 1.0F}, 0.2F, 77},
    {{1.0F, 1.0F, 0.0F, 1.0F}, 0.6F, 128},
}};

/// Fills the quarters of the framebuffer bound for drawing: each draw buffer, depth and stencil. Buffers that
/// it does not have are left out by GL. Leaves scissor box and clear values changed, the scissor test off.
void DrawQuadrants(int width, int height);

/// Compares an image with the quadrants.
///
/// @param expected  what each quadrant should look like
/// @param border    pixels on either side of the borders between quadrants that are not looked at
/// @return what is wrong with it; empty where nothing is
std::string CompareQuadrants(const Image& image, int width, int height, const std::array<Pixel, 4>& expected,
                             int border = 0);

/// What the quadrants look like in a picture of one kind.
std::array<Pixel, 4> QuadrantsAs(Kind kind);

} // namespace TestSupport
