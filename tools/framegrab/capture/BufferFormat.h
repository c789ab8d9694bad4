#pragma once

#include "shared/Picture.h"

#include <string>

namespace Framegrab {

/// What a pixel of a buffer is.
struct BufferFormat
{
    std::string text;          ///< e.g. "R8G8B8A8", "D24", "R16G16 float"; empty: there is no such buffer
    GLenum internalFormat = 0; ///< sized, of a texture with these components; 0 where there is none
    bool isInteger = false;    ///< a color of integers, which values show and pictures do not
};

/// Describes a buffer of the framebuffer that is bound for drawing.
///
/// @param point  `GL_BACK`, `GL_DEPTH` or `GL_STENCIL` of a window surface, or an attachment of a framebuffer
///               object
BufferFormat DescribeBuffer(const BufferKind& kind, GLenum point);

/// @return an integer that GL tells of an attachment or buffer of the framebuffer bound for drawing
GLint GetOfAttachment(GLenum point, GLenum name);

} // namespace Framegrab
