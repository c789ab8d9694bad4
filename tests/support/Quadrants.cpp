#include "support/Quadrants.h"

#include <GLES3/gl32.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace TestSupport {

namespace {

std::uint8_t ToByte(float value)
{
    return static_cast<std::uint8_t>(std::lround(value * 255.0F));
}

Pixel Grey(std::uint8_t value)
{
    return {value, value, value, 255};
}

} // namespace

void DrawQuadrants(int width, int height)
{
    glEnable(GL_SCISSOR_TEST);
    for (std::size_t i = 0; i < Quadrants.size(); ++i) {
        const int right = static_cast<int>(i % 2);
        const int top = static_cast<int>(i / 2);
        const int halfWidth = width / 2;
        const int halfHeight = height / 2;
        glScissor(right * halfWidth, top * halfHeight, right ? width - halfWidth : halfWidth,
                  top ? height - halfHeight : halfHeight);
        const auto& [color, depth, stencil] = Quadrants.at(i);
        glClearColor(color[0], color[1], color[2], color[3]);
        glClearDepthf(depth);
        glClearStencil(stencil);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    }
    glDisable(GL_SCISSOR_TEST);
}

std::string CompareQuadrants(const Image& image, int width, int height, const std::array<Pixel, 4>& expected,
                             int border)
{
    std::ostringstream wrong;
    if (image.width != width || image.height != height) {
        wrong << "size " << image.width << " x " << image.height << " instead of " << width << " x "
              << height;
        return wrong.str();
    }
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int up = height - 1 - y;
            const bool atBorder =
                std::abs(2 * x + 1 - width) < 2 * border || std::abs(2 * up + 1 - height) < 2 * border;
            const std::size_t index = (up >= height / 2 ? 2U : 0U) + (x >= width / 2 ? 1U : 0U);
            const Pixel pixel = image.At(x, y);
            if (pixel != expected.at(index) && !atBorder) {
                wrong << "pixel (" << x << ", " << y << ") from the top left is";
                for (const int component : pixel) {
                    wrong << ' ' << component;
                }
                wrong << " instead of";
                for (const int component : expected.at(index)) {
                    wrong << ' ' << component;
                }
                return wrong.str();
            }
        }
    }
    return {};
}

std::array<Pixel, 4> QuadrantsAs(Kind kind)
{
    std::array<Pixel, 4> picture;
    std::ranges::transform(Quadrants, picture.begin(), [kind](const Quadrant& quadrant) {
        const auto& [c, depth, stencil] = quadrant;
        return kind == Kind::Color   ? Pixel{ToByte(c[0]), ToByte(c[1]), ToByte(c[2]), ToByte(c[3])}
               : kind == Kind::Depth ? Grey(ToByte(depth))
                                     : Grey(static_cast<std::uint8_t>(stencil));
    });
    return picture;
}

} // namespace TestSupport
