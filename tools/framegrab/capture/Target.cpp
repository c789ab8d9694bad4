#include "capture/Target.h"

#include <algorithm>
#include <span>

namespace Framegrab {

using Util::GetInteger;
using Util::HasEntryPoints;

namespace {

GLenum ObjectType(GLenum point)
{
    return static_cast<GLenum>(GetOfAttachment(point, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE));
}

GLuint ObjectName(GLenum point)
{
    return static_cast<GLuint>(GetOfAttachment(point, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME));
}

std::vector<GLenum> ColorPoints()
{
    std::vector<GLenum> points(static_cast<std::size_t>(GetInteger(GL_MAX_COLOR_ATTACHMENTS)));
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i] = GL_COLOR_ATTACHMENT0 + static_cast<GLenum>(i);
    }
    return points;
}

/// Whether one of these objects, which are about to be deleted, is attached: it will not be any more.
bool IsOneAttached(GLenum type, std::span<const GLuint> names)
{
    std::vector<GLenum> points = ColorPoints();
    points.insert(points.end(), {GL_DEPTH_ATTACHMENT, GL_STENCIL_ATTACHMENT});
    return std::any_of(points.begin(), points.end(), [&](GLenum point) {
        return ObjectType(point) == type &&
               std::find(names.begin(), names.end(), ObjectName(point)) != names.end();
    });
}

/// Whether something is attached that will not be when this has taken its place.
bool IsReplaced(GLenum point, const TargetEvent& event)
{
    const GLenum type = ObjectType(point);
    if (type == GL_NONE) {
        return false;
    }
    if (type != event.objectType || ObjectName(point) != event.object) {
        return true;
    }
    const auto isOther = [&](GLenum name, GLint value) { return GetOfAttachment(point, name) != value; };
    return type == GL_TEXTURE &&
           (isOther(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL, event.level) ||
            isOther(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_CUBE_MAP_FACE, event.cubeMapFace) ||
            isOther(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LAYER, event.layer));
}

/// Whether the framebuffer object that is bound for drawing is the one that a call's target stands for.
bool IsMeant(GLenum target)
{
    return target != GL_READ_FRAMEBUFFER ||
           GetInteger(GL_READ_FRAMEBUFFER_BINDING) == GetInteger(GL_DRAW_FRAMEBUFFER_BINDING);
}

std::span<const GLuint> Names(const TargetEvent& event)
{
    return {event.names, event.names && event.count > 0 ? static_cast<std::size_t>(event.count) : 0};
}

/// @param format  of the attachment
/// @return why it cannot be captured; empty when it can
std::string WhyNot(GLenum point, const char* buffer, const BufferFormat& format, bool integers)
{
    const GLuint name = ObjectName(point);
    const bool isTexture = ObjectType(point) == GL_TEXTURE;
    if (!(isTexture ? GL::IsTexture(name) : GL::IsRenderbuffer(name))) {
        return std::string("a framebuffer object's ") + buffer +
               " attachment was deleted while it was attached: such a one is not captured";
    }
    if (!integers && format.isInteger) {
        return "a framebuffer object has integer colors, which no picture can show: such an attachment is "
               "not captured without -stencil-colors or -format exr";
    }
    return "";
}

} // namespace

bool IsTargetBound()
{
    return HasEntryPoints(GL::GetIntegerv, GL::BindFramebuffer, GL::PixelStorei, GL::IsTexture,
                          GL::IsRenderbuffer, GL::GetFramebufferAttachmentParameteriv,
                          GL::CheckFramebufferStatus) &&
           GetInteger(GL_DRAW_FRAMEBUFFER_BINDING) != 0 &&
           GL::CheckFramebufferStatus(GL_DRAW_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
}

bool IsDoneWithTarget(const Driver& driver, const TargetEvent& event)
{
    const auto framebuffer = static_cast<GLuint>(GetInteger(GL_DRAW_FRAMEBUFFER_BINDING));
    const std::span<const GLuint> names = Names(event);
    switch (event.kind) {
    case TargetEvent::BindsFramebuffer:
        return event.target != GL_READ_FRAMEBUFFER && event.object != framebuffer;
    case TargetEvent::Attaches:
        if (!IsMeant(event.target)) {
            return false;
        }
        return event.attachment == GL_DEPTH_STENCIL_ATTACHMENT
                   ? IsReplaced(GL_DEPTH_ATTACHMENT, event) || IsReplaced(GL_STENCIL_ATTACHMENT, event)
                   : IsReplaced(event.attachment, event);
    case TargetEvent::Invalidates:
        return IsMeant(event.target);
    case TargetEvent::DeletesFramebuffers:
        return std::find(names.begin(), names.end(), framebuffer) != names.end();
    case TargetEvent::DeletesTextures:
        return IsOneAttached(GL_TEXTURE, names);
    case TargetEvent::DeletesRenderbuffers:
        return IsOneAttached(GL_RENDERBUFFER, names);
    case TargetEvent::MakesCurrent:
        return !driver.IsCurrent(event.context);
    case TargetEvent::Swaps:
        break;
    }
    return true;
}

std::vector<TargetAttachment> FindTargetAttachments(const std::vector<Buffer>& buffers, bool integers,
                                                    std::set<std::string>& leftOut)
{
    std::vector<TargetAttachment> found;
    const auto look = [&](const BufferKind& kind, GLenum point) {
        if (ObjectType(point) == GL_NONE) {
            return;
        }
        BufferFormat format = DescribeBuffer(kind, point);
        if (std::string reason = WhyNot(point, kind.name, format, integers); !reason.empty()) {
            leftOut.insert(std::move(reason));
        } else {
            found.push_back({.point = point,
                             .buffer = kind.buffer,
                             .number = static_cast<std::uint8_t>(point - kind.attachment),
                             .format = std::move(format),
                             .hasThumbnail = point == kind.attachment});
        }
    };
    for (const Buffer buffer : buffers) {
        const BufferKind& kind = KindOf(buffer);
        if (buffer != Buffer::Color) {
            look(kind, kind.attachment);
            continue;
        }
        for (const GLenum point : ColorPoints()) {
            look(kind, point);
        }
    }
    return found;
}

} // namespace Framegrab
