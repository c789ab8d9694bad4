#pragma once

#include "shared/FrameList.h"
#include "shared/LogSettings.h"
#include "shared/Picture.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Framegrab {

/// What is to be captured, as the launcher tells it to the processes of the program.
struct Settings
{
    FrameList frames;                   ///< none where a trigger tells
    std::uint32_t triggerFrames = 0;    ///< how many a trigger asks for; 0: there is none
    std::vector<std::uint32_t> windows; ///< numbers of the surfaces to capture; none: all
    std::vector<Buffer> buffers;        ///< in the order in which to take them
    std::vector<Buffer> valueBuffers;   ///< those of them of which to take values instead of pictures
    bool integers = false;              ///< values of integer colours too, be they among these or not
    std::uint32_t thumbnailWidth = 0;   ///< of the box that thumbnails fit, in pixels; 0: none are wanted
    std::uint32_t thumbnailHeight = 0;
    bool thumbnailOnly = false;     ///< without the full-size pictures
    bool quit = false;              ///< the program is ended after the last frame
    bool targets = false;           ///< framebuffer objects too; the launcher chooses the hooks by it
    std::uint32_t maxTargets = 200; ///< of one frame
    LogSettings log;

    /// Shows every setting to a visitor that writes or reads them.
    template <typename Self, typename Visitor>
    static void VisitAll(Self& settings, Visitor&& visit)
    {
        visit(settings.frames);
        visit(settings.triggerFrames);
        visit(settings.windows);
        visit(settings.buffers);
        visit(settings.valueBuffers);
        visit(settings.integers);
        visit(settings.thumbnailWidth);
        visit(settings.thumbnailHeight);
        visit(settings.thumbnailOnly);
        visit(settings.quit);
        visit(settings.targets);
        visit(settings.maxTargets);
        visit(settings.log.level);
        visit(settings.log.zones);
        visit(settings.log.pipes);
    }
};

/// @return the settings as `FromBytes` reads them
std::vector<std::uint8_t> ToBytes(const Settings& settings);

/// @return false when the bytes are not those of settings
bool FromBytes(std::span<const std::uint8_t> bytes, Settings& settings);

} // namespace Framegrab
