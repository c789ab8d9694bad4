#pragma once

#include <cstddef>
#include <cstdint>

namespace Util {

/// An image to be encoded, where it lies: 8-bit samples, rows without padding.
struct PNGImage
{
    const std::uint8_t* const* rows; ///< top row first
    std::size_t rowBytes;
    std::size_t height;
    bool isBGRA;     ///< in this order instead of PNG's own, R, G, B, A
    bool makeOpaque; ///< every alpha is written as 255
};

} // namespace Util
