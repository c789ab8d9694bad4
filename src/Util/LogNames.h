#pragma once

#include "Core/Log.h"

#include <array>
#include <cstdint>

namespace Util {

/// A word of an option, and the bits of a mask that it stands for.
template <typename Mask>
struct NamedBits
{
    const char* name;
    Mask bits;
};

/// As the logger itself names its zones.
inline constexpr std::array<NamedBits<std::uint64_t>, 11> LogZoneNames{{
    {"application", std::uint64_t{1} << Core::Log::ZoneApplication},
    {"capture", std::uint64_t{1} << Core::Log::ZoneCapture},
    {"core", std::uint64_t{1} << Core::Log::ZoneCore},
    {"data", std::uint64_t{1} << Core::Log::ZoneData},
    {"playback", std::uint64_t{1} << Core::Log::ZonePlayback},
    {"util", std::uint64_t{1} << Core::Log::ZoneUtil},
    {"dll", std::uint64_t{1} << Core::Log::ZoneDll},
    {"stats", std::uint64_t{1} << Core::Log::ZoneStats},
    {"apicalls", std::uint64_t{1} << Core::Log::ZoneApiCalls},
    {"playbackobjectid", std::uint64_t{1} << Core::Log::ZonePlaybackObjectId},
    {"all", ~std::uint64_t{0}},
}};

inline constexpr std::array<NamedBits<std::uint32_t>, 4> LogIOPipeNames{{
    {"debugger", 1U << Core::Log::PipeDebugger},
    {"console", 1U << Core::Log::PipeConsole},
    {"file", 1U << Core::Log::PipeFile},
    {"all", ~std::uint32_t{0}},
}};

} // namespace Util
