#pragma once

#include "launcher/Options.h"

#include <string>
#include <vector>

namespace Framegrab {

/// Reads the arguments that follow the tool's own name: options, "--", the program and its arguments.
///
/// An option begins with one dash or two and may be cut short as far as it stays clear; its value follows '='
/// or is the next argument. Of an option that is given twice the last value counts.
///
/// @param error  what is wrong, in words; untouched on success
/// @return whether `options` was filled
/// @note One thread at a time: `getopt_long_only` keeps its place in global variables.
bool ParseOptions(const std::vector<std::string>& arguments, Options& options, std::string& error);

} // namespace Framegrab
