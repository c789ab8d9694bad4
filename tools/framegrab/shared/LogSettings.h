#pragma once

#include "Core/Log.h"

#include <cstdint>

/// Logs a notice with the caller's place. A macro because the place is the caller's and because the compiler
/// checks the arguments against the format only where it sees the literal.
#define FRAMEGRAB_LOG(zone, ...)                                                                             \
    Core::Log::Print(Core::Log::LevelNotice, (zone), __LINE__, __FILE_NAME__, true, __VA_ARGS__)

namespace Framegrab {

/// What the user wants of the log, in terms of the host's logger.
struct LogSettings
{
    std::uint32_t level = Core::Log::LevelWarning;
    std::uint64_t zones = ~std::uint64_t{0};
    std::uint32_t pipes = 1U << Core::Log::PipeConsole | 1U << Core::Log::PipeFile;

    [[nodiscard]] bool IsOn(Core::Log::LogIOPipe pipe) const { return (pipes >> pipe & 1U) != 0; }
};

/// Gives the logger of the calling library the level and the zones that the user wants, and one output: where
/// its lines end up is the launcher's affair, in whose process and on which thread they may come about.
inline void SendLogTo(Core::Log::DebuggerSink sink, const LogSettings& settings)
{
    Core::Log::SetDebuggerSink(sink);
    Core::Log::m_level = settings.level;
    Core::Log::m_zoneMask = settings.zones;
    Core::Log::m_ioPipeMask = 1U << Core::Log::PipeDebugger;
}

} // namespace Framegrab
