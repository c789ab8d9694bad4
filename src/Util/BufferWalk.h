#pragma once

#include "Util/GLDispatch.h"
#include "Util/GLState.h"
#include "Util/StatusCode.h"

#include <cstdint>
#include <optional>

namespace Util {

/// Goes through the buffers of what is bound for drawing, which is bound for reading too meanwhile: colour,
/// depth and stencil of the window surface, or the attachments of a framebuffer object, of the colours up to
/// the first that is not read.
///
/// @param bufferMask      `GL_COLOR_BUFFER_BIT`, `GL_DEPTH_BUFFER_BIT`, `GL_STENCIL_BUFFER_BIT`
/// @param readBackBuffer  reads `GL_BACK`, `GL_DEPTH` or `GL_STENCIL`; returns a status
/// @param readAttachment  reads `GL_COLOR_ATTACHMENT0` + i, `GL_DEPTH_ATTACHMENT` or `GL_STENCIL_ATTACHMENT`;
///                        returns a status
/// @return the last status; 1 when nothing was asked for
template <typename ReadBackBuffer, typename ReadAttachment>
std::uint32_t WalkBuffers(std::uint32_t bufferMask, ReadBackBuffer readBackBuffer,
                          ReadAttachment readAttachment)
{
    if (!HasEntryPoints(GL::GetIntegerv, GL::BindFramebuffer)) {
        return StatusFailure;
    }
    const GLint draw = GetInteger(GL_FRAMEBUFFER_BINDING);
    std::optional<SavedReadFramebuffer> read;
    if (draw != GetInteger(GL_READ_FRAMEBUFFER_BINDING)) {
        read.emplace();
        BindFramebuffer<GL_READ_FRAMEBUFFER>(draw);
    }

    std::uint32_t status = StatusFailure; // until something has been captured
    const auto isAsked = [bufferMask](GLbitfield bit) { return (bufferMask & bit) != 0; };
    const bool isWindow = draw == 0;
    if (isAsked(GL_COLOR_BUFFER_BIT)) {
        if (isWindow) {
            status = readBackBuffer(GL_BACK);
        } else {
            const auto points = static_cast<GLuint>(GetInteger(GL_MAX_COLOR_ATTACHMENTS));
            for (GLuint i = 0; i < points; ++i) {
                status = readAttachment(GL_COLOR_ATTACHMENT0 + i);
                if (status != StatusSuccess) {
                    break;
                }
            }
        }
    }
    if (isAsked(GL_DEPTH_BUFFER_BIT)) {
        status = isWindow ? readBackBuffer(GL_DEPTH) : readAttachment(GL_DEPTH_ATTACHMENT);
    }
    if (isAsked(GL_STENCIL_BUFFER_BIT)) {
        status = isWindow ? readBackBuffer(GL_STENCIL) : readAttachment(GL_STENCIL_ATTACHMENT);
    }
    return status;
}

} // namespace Util
