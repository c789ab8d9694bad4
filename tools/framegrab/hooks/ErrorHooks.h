#pragma once

#include <GLES3/gl3.h>

namespace Framegrab {

/// Keeps an error of GL for the program to ask for, which a capture took away on the calling thread.
///
/// @param error  may be `GL_NO_ERROR`
void KeepError(GLenum error) noexcept;

} // namespace Framegrab
