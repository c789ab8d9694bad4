#pragma once

#include "Util/GLCopy.h"

#include <cstdint>

namespace Util {

/// What is to be known of a depth buffer to read its values.
struct DepthBuffer
{
    Size size;
    GLuint bits;
    GLuint stencilBits; ///< that share its pixels
    bool isFloat;
    bool isMultisampled;
    ImageLayout copy; ///< of a texture that can take the buffer
};

struct DepthResult
{
    const char* refusal; ///< why there are no values, in words; null where there are
    bool isExact;        ///< false: resolved, or sampled by a shader
};

/// Reads depth of the framebuffer bound for drawing. All state is as before when it returns; GL errors that
/// were pending are consumed.
///
/// A fixed-point n of b bits becomes the float nearest to n / (2^b - 1). Drivers with `GL_NV_read_depth` and
/// `GL_NV_read_depth_stencil` deliver n itself; with others a shader samples it as a float, which is off in
/// the last bits for some values of more than 16.
///
/// @param values  room for a float a pixel, of any alignment; bottom row first
DepthResult ReadDepthValues(const DepthBuffer& buffer, std::uint8_t* values);

} // namespace Util
