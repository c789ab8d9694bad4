#pragma once

#include "shared/LogSettings.h"

#include <string>

namespace Framegrab {

/// Gives the launcher's own logger the settings that the user wants.
void SetUpLog(const LogSettings& settings);

/// Begins the log file in a folder, if the settings want one, for `Say` and for the launcher's logger. If it
/// cannot be opened, this is said and `settings` want none any more.
void OpenLogFile(const std::string& folder, LogSettings& settings);

/// Ends the log file and removes it.
void DropLogFile(const std::string& folder);

} // namespace Framegrab
