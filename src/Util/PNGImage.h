#pragma once

#include <cstddef>
#include <cstdint>

namespace Util {

/// How the samples of an image lie in memory, and what becomes of them in the file.
enum class PNGSamples
{
    AsStored,   ///< in PNG's own order: R, G, B, A, or grey
    MakeOpaque, ///< R, G, B and an alpha to be written as 255
    SwapBlue,   ///< B, G, R, A
};

/// An image to be encoded, where it lies: 8-bit samples, rows without padding.
struct PNGImage
{
    const std::uint8_t* const* rows; ///< top row first
    std::size_t rowBytes;
    std::size_t height;
    PNGSamples samples;
};

} // namespace Util
