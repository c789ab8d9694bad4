#pragma once

#include "Core/Log.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <syslog.h>

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

/// Name of the log file in the output folder, without its extension.
inline constexpr const char* LogFileName = "framegrab";

// The console is the launcher's: the standard error of the process that logs may be closed or belong to the
// program's output. So the logger's debugger output gets what is meant for either, and passes it on.

/// @return the logger's mask for the outputs that the user wants
inline std::uint32_t RedirectedPipes(const LogSettings& settings)
{
    const bool isRedirected = settings.IsOn(Core::Log::PipeConsole) || settings.IsOn(Core::Log::PipeDebugger);
    return (isRedirected ? 1U << Core::Log::PipeDebugger : 0U) |
           (settings.IsOn(Core::Log::PipeFile) ? 1U << Core::Log::PipeFile : 0U);
}

/// Does what the logger's debugger output has to do.
///
/// @param text     a message, as the logger gives it
/// @param console  is called with the message without its line end, if the console is wanted
template <typename Console>
void PassOn(const LogSettings& settings, std::string_view text, Console console)
{
    const std::string line(text.substr(0, text.find_last_not_of('\n') + 1));
    if (settings.IsOn(Core::Log::PipeDebugger)) {
        syslog(LOG_USER | LOG_DEBUG, "%s", line.c_str());
    }
    if (settings.IsOn(Core::Log::PipeConsole)) {
        console(line);
    }
}

} // namespace Framegrab
