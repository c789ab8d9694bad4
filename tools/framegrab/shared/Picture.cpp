#include "shared/Picture.h"

#include <cinttypes>
#include <cstdio>

namespace Framegrab {

namespace {

/// @return a number with leading zeros, so that names sort as numbers do
std::string Padded(std::uint64_t number, int digits)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%0*" PRIu64, digits, number);
    return text;
}

/// @return what marks the second and later ones; nothing for the first
std::string Mark(const char* mark, std::uint32_t number)
{
    return number == 1 ? "" : mark + std::to_string(number);
}

std::string TargetName(const Picture& picture)
{
    return picture.target != 0 ? "target" + Padded(picture.target, 3) : "";
}

} // namespace

std::string FrameName(const Picture& picture)
{
    return "frame" + Padded(picture.frame, 6) + Mark("-p", picture.process) + Mark("-w", picture.surface);
}

std::string FramebufferName(const Picture& picture)
{
    const std::string target = TargetName(picture);
    return FrameName(picture) + (target.empty() ? "" : "_") + target;
}

std::string BufferName(const Picture& picture)
{
    const bool isNumbered = picture.target != 0 && picture.buffer == Buffer::Color;
    return KindOf(picture.buffer).name + (isNumbered ? std::to_string(picture.attachment) : "");
}

std::string ImageName(const Picture& picture)
{
    const std::string target = TargetName(picture);
    return target + (target.empty() ? "" : "_") + BufferName(picture);
}

std::string FileStem(const Picture& picture)
{
    const bool isPlain = picture.target == 0 && picture.buffer == Buffer::Color;
    return FrameName(picture) + (isPlain ? "" : "_" + ImageName(picture)) +
           (picture.isThumbnail ? "_thumbnail" : "");
}

} // namespace Framegrab
