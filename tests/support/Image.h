#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace TestSupport {

using Pixel = std::array<std::uint8_t, 4>; ///< R, G, B, A

/// A decoded image file, top row first.
struct Image
{
    int width = 0;
    int height = 0;
    int channels = 0; ///< as stored in the file: 1 grey, 4 RGBA
    std::vector<Pixel> pixels;

    [[nodiscard]] Pixel At(int x, int y) const
    {
        return pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                         static_cast<std::size_t>(x));
    }
};

/// Decodes a PNG or BMP file with stb_image, which shares no code with libpng or zlib.
///
/// @return an image of width 0 when the file cannot be decoded
Image LoadImage(const std::string& path);

} // namespace TestSupport
