#pragma once

#include "Core/StdioWriter.h"
#include "Util/Export.h"

#include <memory>
#include <string>

namespace Util {

// The host's logging options and its log file. What these functions change lives in the host's logger, which
// they change without a lock: while a progress line or a warning is printed, other threads log with the
// settings made for it. None throws.

/// Prints a line of progress that the next output on the console will overwrite: the text, then as many
/// backspaces as it has bytes. Goes to the console alone, at level 3, if the logger's level lets it through.
///
/// @param message  printed as it is, with any `%`
UTIL_EXPORT void PrintMessageAndBackspaces(const std::string& message);

/// Sets the logger's level to the value of the option `-loglevel`. A number that is no level is warned about
/// on the console, whatever the logger's level and zones, if the console output is on, and changes nothing.
///
/// @param value  0 to 5, as `String::ToInt` reads it: text without a number is 0
UTIL_EXPORT void ParseCmdArgsLogLevel(const std::string& value);

/// Replaces the logger's zone mask by the value of the option `-logzones`.
///
/// A name that is none is warned about on the console, whatever the logger's level and zones, if the console
/// output is on, and skipped. A value without any valid name is told of there too, if level and zones let it
/// through, and changes nothing.
///
/// @param value  names of any letter case, separated by `|` or `:`, of `application`, `capture`, `core`,
///               `data`, `playback`, `util`, `dll`, `stats`, `apicalls`, `playbackobjectid`; `all` sets all
///               64 bits
UTIL_EXPORT void ParseCmdArgsLogZone(const std::string& value);

/// Replaces the logger's output-pipe mask by the value of the option `-logiopipe`, in the way of
/// `ParseCmdArgsLogZone`.
///
/// @param value  names of `debugger`, `console`, `file`; `all` sets all 32 bits
UTIL_EXPORT void ParseCmdArgsLogIOPipe(const std::string& value);

/// Makes the writer of the log file `baseName` + ".log": empties the file with one writer, which it closes,
/// and opens it with another.
///
/// Where the file cannot be opened, or its name holds a zero, it turns the logger's file output off and logs
/// a warning.
///
/// @return the second writer, open or not; null without memory for it, which counts as a file not opened
UTIL_EXPORT std::shared_ptr<Core::StdioWriter> LoggerCreateStdioWriter(const std::string& baseName);

} // namespace Util
