#pragma once

#include "Util/GLScreenshotHandler.h"
#include "capture/Driver.h"
#include "shared/Picture.h"

#include <cstdint>
#include <string>

namespace Framegrab {

/// Captures a buffer of the framebuffer bound for drawing, scaled to fit a box.
///
/// Unlike the handler's operations, leaves the pack layout of pixels alone.
///
/// @param path  without extension
/// @return status of the handler's operation
std::uint32_t TakeThumbnail(const Driver& driver, Util::GLScreenshotHandler& handler, Buffer buffer,
                            const std::string& path, std::uint32_t maxWidth, std::uint32_t maxHeight);

} // namespace Framegrab
