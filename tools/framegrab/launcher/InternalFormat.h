#pragma once

#include <cstdint>
#include <string>

namespace Framegrab {

/// @param format  an internal format of GL that buffers have
/// @return its name, e.g. "GL_RGBA16F"; of one that is not known its number, e.g. "0x93A1"; empty for 0
std::string InternalFormatName(std::uint32_t format);

} // namespace Framegrab
