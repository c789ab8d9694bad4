#pragma once

#include "Util/GLCopy.h"

#include <cstdint>

namespace Util {

/// What is read of a depth-stencil buffer.
enum class Component
{
    Depth,
    Stencil
};

/// Turns depth or stencil of the framebuffer bound for drawing into grey pixels. All state is as before when
/// it returns; GL errors that were pending are consumed.
///
/// Where the driver refuses to copy the buffer, or the shader does not build, the pixels are opaque black and
/// a warning is logged.
///
/// @param sourceSize  of the source, from its origin
/// @param outputSize  to which it is scaled, with nearest filtering
/// @param copy        layout of a texture that can take the buffer
/// @param pixels      room for the output, `GL_RGBA` / `GL_UNSIGNED_BYTE`, bottom row first
void ReadDepthStencil(Component component, Size sourceSize, Size outputSize, const ImageLayout& copy,
                      std::uint8_t* pixels);

/// @return whether the host has what `ReadDepthStencil` calls
bool CanReadDepthStencil();

} // namespace Util
