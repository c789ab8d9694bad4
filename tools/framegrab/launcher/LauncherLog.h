#pragma once

#include "shared/LogSettings.h"

#include <string>
#include <vector>

namespace Framegrab {

/// Gives the launcher's own logger the settings that the user wants.
void SetUpLog(const LogSettings& settings);

/// Puts a line, with or without its end, where the user wants the log: one that a process of the program has
/// logged, or one that was kept.
void LogLine(const std::string& line);

/// Keeps what the calling thread logs, until the end of the scope: lines of pictures that are written at the
/// same time come in the order of the pictures.
class KeptLog
{
public:
    KeptLog();
    KeptLog(const KeptLog&) = delete;
    KeptLog& operator=(const KeptLog&) = delete;
    ~KeptLog();

    [[nodiscard]] const std::vector<std::string>& Lines() const { return m_lines; }

private:
    friend void PassOnLog(const char* text);

    std::vector<std::string> m_lines;
};

/// Begins the log file in a folder, if the settings want one, for `Say` and for `LogLine`. If it cannot be
/// opened, this is logged.
void OpenLogFile(const std::string& folder);

/// Ends the log file and removes it.
void DropLogFile(const std::string& folder);

} // namespace Framegrab
