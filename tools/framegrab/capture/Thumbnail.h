#pragma once

#include "Util/CapturedImage.h"
#include "shared/Picture.h"

#include <cstdint>

namespace Framegrab {

/// Reads a buffer of the framebuffer bound for drawing, scaled to fit a box.
///
/// Unlike the library's operations, leaves the pack layout of pixels alone.
///
/// @param name  of the framebuffer, for messages
/// @return status of the library's operation
std::uint32_t ReadThumbnail(Util::ImageSink& sink, const std::string& name, Buffer buffer,
                            std::uint32_t maxWidth, std::uint32_t maxHeight);

} // namespace Framegrab
