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
};

/// Everything printed since the last `ClearLog`. The recording host filters nothing.
const std::vector<LogEntry>& LogEntries();

/// The texts alone, in order.
std::vector<std::string> LogTexts();

/// Forgets the messages and puts the host's level and masks back to what they are at start-up.
void ClearLog();

} // namespace TestSupport
