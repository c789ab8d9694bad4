#pragma once

#include <cstdint>

namespace Util {

/// What the operations on images and screenshots return.
enum StatusCode : std::uint32_t
{
    StatusSuccess = 0,
    StatusFailure = 1, ///< missing entry point, nothing to capture, bad size or layout, file not opened or
                       ///< not written whole, libpng failure, no memory
    StatusEmptySource = 3,       ///< thumbnails: the source has width or height 0
    StatusNoComponent = 4,       ///< thumbnails: the source has no depth, or no stencil, bits
    StatusImageFull = 6,         ///< more PNG bytes than the image holds; read-back: null buffer
    StatusUnsupportedFormat = 8, ///< the handler's image kind is neither BMP nor PNG
    StatusNotOpen = 9,           ///< no file is open
};

} // namespace Util
