#pragma once

#include "Util/CapturedValues.h"
#include "Util/Export.h"

#include <cstdint>
#include <string>

/// Reads the numbers that buffers hold, without a loss, and hands them to a sink.
///
/// What is captured, under which names, with which entry points, and what happens to GL state, is as with the
/// functions of GLReadback.h; layers of cube map arrays and integer colours are read as well. Where those
/// give a black picture, these give nothing: what the driver refuses to copy or to read is status 1, with a
/// warning in the log.
///
/// Colour comes as the buffer has it. Depth comes as floats: a fixed-point n of b bits as the one nearest to
/// n / (2^b - 1). Drivers with `GL_NV_read_depth` and `GL_NV_read_depth_stencil` deliver n itself; with
/// others the depth is sampled by a shader, and beyond 16 bits may be off by one in the last bit.
/// Multisampled buffers are resolved, integers and stencil by the one sample that `glBlitFramebuffer`
/// selects. Where a value may therefore differ from the buffer's, `CapturedValues::isExact` is false.
namespace Util {

/// Reads what is bound for drawing: the window surface, or the attachments of a framebuffer object.
///
/// @param fileName    path without extension; added to it is what `GLScreenshotHandler::TakeScreenshot` adds
/// @param bufferMask  `GL_COLOR_BUFFER_BIT`, `GL_DEPTH_BUFFER_BIT`, `GL_STENCIL_BUFFER_BIT`; others are
///         ignored
/// @return status of the last buffer: of the sink, or 1 when it cannot be read. The walk over colour
///         attachments ends with the first that is not 0, an empty point among them.
UTIL_EXPORT std::uint32_t ReadScreenshotValues(ValueSink& sink, const std::string& fileName,
                                               std::uint32_t bufferMask);

/// Reads one buffer of the window surface, which must be bound for drawing and reading.
///
/// @param buffer  `GL_BACK`, `GL_DEPTH` or `GL_STENCIL`
/// @return status of the sink; 1 when there is no such buffer or it cannot be read
UTIL_EXPORT std::uint32_t ReadBackBufferValues(ValueSink& sink, const std::string& fileName,
                                               std::uint32_t buffer);

/// Reads one attachment of the framebuffer object that is bound for drawing and reading.
///
/// @param attachment  `GL_COLOR_ATTACHMENT0` + i, `GL_DEPTH_ATTACHMENT` or `GL_STENCIL_ATTACHMENT`
/// @return status of the sink; 1 when nothing is attached, the object is gone, or it cannot be read
UTIL_EXPORT std::uint32_t ReadAttachmentValues(ValueSink& sink, const std::string& fileName,
                                               std::uint32_t attachment);

} // namespace Util
