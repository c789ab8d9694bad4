#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace Util {

struct FreeMemory
{
    void operator()(void* memory) const { std::free(memory); }
};

/// Pixels of one capture, zero until something is read into them: never what the memory held before.
using PixelBuffer = std::unique_ptr<std::uint8_t[], FreeMemory>;

/// @param pitch  bytes a pixel
/// @return null where the byte count does not fit or there is no memory for it
inline PixelBuffer AllocatePixels(std::uint32_t width, std::uint32_t height, std::uint32_t pitch)
{
    // calloc: pages fresh from the system are zero already, clearing them again would cost as much as a copy.
    // Two factors of 32 bits fit; calloc checks the third.
    return PixelBuffer(static_cast<std::uint8_t*>(std::calloc(std::uint64_t{width} * height, pitch)));
}

} // namespace Util
