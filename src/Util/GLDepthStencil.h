#pragma once

#include "Util/GLAttachment.h"
#include "Util/GLCopy.h"

#include <cstdint>

namespace Util {

/// What is read of a depth-stencil buffer.
enum class Component
{
    Depth,
    Stencil
};

/// @return e.g. `GL_DEPTH_ATTACHMENT`
constexpr GLenum AttachmentPoint(Component component)
{
    return component == Component::Stencil ? GL_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT;
}

/// What a depth or stencil picture adds to the name of its file.
constexpr const char* FileSuffix(Component component)
{
    return component == Component::Stencil ? "_stencil" : "_depth";
}

/// Layout of a texture that a depth or stencil buffer can be copied into.
///
/// @param image  of the buffer: its internal format where that is sized, otherwise its bits decide
/// @return one that no texture can have, where there is none for these bits
ImageLayout CopyLayoutOf(Component component, const Attachment& image);

/// Turns depth or stencil of the framebuffer bound for drawing into grey pixels. All state is as before when
/// it returns; GL errors that were pending are consumed.
///
/// @param sourceSize  of the source, from its origin
/// @param outputSize  to which it is scaled, with nearest filtering
/// @param copy        layout of a texture that can take the buffer
/// @param pixels      room for the output, `GL_RGBA` / `GL_UNSIGNED_BYTE`, bottom row first
/// @return null; why the driver refused, in words, and then the pixels are opaque black
const char* ReadDepthStencil(Component component, Size sourceSize, Size outputSize, const ImageLayout& copy,
                             std::uint8_t* pixels);

/// As `ReadDepthStencil`, for a picture: a refusal is logged as a warning.
void ShowDepthStencil(Component component, Size sourceSize, Size outputSize, const ImageLayout& copy,
                      std::uint8_t* pixels);

/// @return whether the host has what these call
bool CanReadDepthStencil();

} // namespace Util
