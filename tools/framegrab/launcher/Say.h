#pragma once

#include "Core/StdioWriter.h"

#include <memory>
#include <string>

/// What framegrab tells its user: lines on standard error that begin with its name. Any thread may speak.
namespace Framegrab {

/// Says one line on standard error, in one write since the program may be writing there as well, and in the
/// log file.
void Say(const std::string& text);

/// Says one line on standard error alone: it was logged before.
void SayAgain(const std::string& text);

/// Says one line in the log file alone.
void SayInLog(const std::string& text);

/// Writes a line in the log file as it is.
void WriteInLog(const std::string& line);

/// The log file that these write to from now on; null for none.
void SetLogFile(std::shared_ptr<Core::StdioWriter> file);

/// Shows how far the work is, where standard error is a terminal, on a line that the next output overwrites.
///
/// @param text  in place of what was shown before; empty to show nothing any more
void ShowProgress(const std::string& text);

} // namespace Framegrab
