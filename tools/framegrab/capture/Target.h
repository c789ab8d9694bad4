#pragma once

#include "Util/GLState.h"
#include "capture/BufferFormat.h"
#include "capture/Driver.h"
#include "shared/CaptureInterface.h"
#include "shared/Picture.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

/// What there is to know of the framebuffer object that is bound for drawing on the calling thread, whose
/// calls go to its driver.
namespace Framegrab {

/// @return whether there is one that can be drawn into; false too when the driver lacks functions of OpenGL
///         ES 3.0
bool IsTargetBound();

/// @return whether the program is done with what it has drawn there
bool IsDoneWithTarget(const Driver& driver, const TargetEvent& event);

/// One attachment that a picture can show.
struct TargetAttachment
{
    GLenum point; ///< `GL_COLOR_ATTACHMENT0` + i, `GL_DEPTH_ATTACHMENT` or `GL_STENCIL_ATTACHMENT`
    Buffer buffer;
    std::uint8_t number; ///< of the colour
    BufferFormat format;
    bool hasThumbnail; ///< of the colours, the first attachment alone can be scaled
};

/// @param buffers  which to look for
/// @param integers  whether colours of integers are among them
/// @param leftOut  receives why an attachment is not among the result although it is there
std::vector<TargetAttachment> FindTargetAttachments(const std::vector<Buffer>& buffers, bool integers,
                                                    std::set<std::string>& leftOut);

/// Binds the framebuffer object for reading as well, until the end of the scope.
class TargetRead
{
public:
    TargetRead()
    {
        Util::BindFramebuffer<GL_READ_FRAMEBUFFER>(Util::GetInteger(GL_DRAW_FRAMEBUFFER_BINDING));
    }

private:
    Util::SavedReadFramebuffer m_read;
};

} // namespace Framegrab
