#pragma once

#include "shared/LogSettings.h"

#include <map>
#include <string>

namespace Framegrab {

/// Sets up the launcher's own logger from the log options.
///
/// What is wrong with a value is said, and the value ignored.
///
/// @param values  values of `-loglevel`, `-logzones` and `-logiopipe`, by these names, as far as they were
/// given
/// @return the settings, for the program's processes as well
LogSettings SetUpLog(const std::map<std::string, std::string>& values);

/// Begins the log file in a folder, if the settings want one, for `Say` and for the launcher's logger. If it
/// cannot be opened, this is said and `settings` want none any more.
void OpenLogFile(const std::string& folder, LogSettings& settings);

/// Ends the log file and removes it.
void DropLogFile(const std::string& folder);

} // namespace Framegrab
