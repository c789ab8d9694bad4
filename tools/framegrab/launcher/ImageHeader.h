#pragma once

#include <cstdint>
#include <string>

namespace Framegrab {

/// What a picture file on the disk says of itself.
struct ImageHeader
{
    std::uint32_t width = 0; ///< in pixels
    std::uint32_t height = 0;
    std::uint64_t bytes = 0;
};

/// Reads the beginning of a PNG or BMP file.
///
/// @return false when the file is missing or is not a picture of at least one pixel
/// @see PNG (ISO/IEC 15948), 5.2 and 11.2.2; BITMAPFILEHEADER and BITMAPINFOHEADER
bool ReadImageHeader(const std::string& path, ImageHeader& file);

} // namespace Framegrab
