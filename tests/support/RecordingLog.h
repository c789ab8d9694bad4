#pragma once

#include "Core/Log.h"

#include <string>
#include <vector>

namespace TestSupport {

/// One message that the library gave to the host: through `Core::Log` or, where `toConsole`, `Core::Console`.
struct LogEntry
{
    bool toConsole = false;
    Core::Log::LogLevel level{};
    Core::Log::LogZone zone{};
    bool decorated = false;
    std::string text;
    std::string file; ///< source file of the caller; empty for the console
    int line = 0;

    // What the host's settings were while it was printed.
    std::uint32_t hostLevel = 0;
    std::uint64_t hostZoneMask = 0;
    std::uint32_t hostPipeMask = 0;
};

/// Everything printed since the last `ClearLog`. The recording host filters nothing.
const std::vector<LogEntry>& LogEntries();

/// The texts alone, in order.
std::vector<std::string> LogTexts();

/// Forgets the messages and puts the host's level and masks back to what they are at start-up.
void ClearLog();

} // namespace TestSupport
