#pragma once

#include "shared/Session.h"

#include <map>
#include <string>
#include <vector>

namespace Framegrab {

/// framegrab's command line.
struct Options
{
    Settings settings;                      ///< `output` as the user wrote it; empty when it was not given
    double timeout = 0;                     ///< seconds; 0 for none
    std::vector<std::string> program;       ///< the program and its arguments
    std::map<std::string, std::string> log; ///< values of the log options, by their names
    bool help = false;
};

/// Reads the arguments that follow the tool's own name: options, "--", the program and its arguments.
///
/// @param error  what is wrong, in words; untouched on success
/// @return whether `options` was filled
bool ParseOptions(const std::vector<std::string>& arguments, Options& options, std::string& error);

/// The text that `-help` prints.
extern const char* const HelpText;

} // namespace Framegrab
