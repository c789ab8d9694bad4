#include "launcher/LauncherLog.h"

#include "launcher/Say.h"

#include <memory>
#include <syslog.h>
#include <unistd.h>

namespace Framegrab {

namespace {

LogSettings s_settings;
thread_local KeptLog* t_kept = nullptr;

std::string PathIn(const std::string& folder)
{
    return folder + "/framegrab.log";
}

} // namespace

void PassOnLog(const char* text)
{
    if (t_kept) {
        t_kept->m_lines.emplace_back(text);
    } else {
        LogLine(text);
    }
}

KeptLog::KeptLog()
{
    t_kept = this;
}

KeptLog::~KeptLog()
{
    t_kept = nullptr;
}

void SetUpLog(const LogSettings& settings)
{
    s_settings = settings;
    SendLogTo(&PassOnLog, settings);
}

void LogLine(const std::string& line)
{
    const std::string text = line.substr(0, line.find_last_not_of('\n') + 1);
    if (s_settings.IsOn(Core::Log::PipeDebugger)) {
        syslog(LOG_USER | LOG_DEBUG, "%s", text.c_str());
    }
    if (s_settings.IsOn(Core::Log::PipeConsole)) {
        SayAgain(text);
    }
    WriteInLog(text);
}

void OpenLogFile(const std::string& folder)
{
    if (!s_settings.IsOn(Core::Log::PipeFile)) {
        return;
    }
    auto file = std::make_shared<Core::StdioWriter>(PathIn(folder), true, true);
    if (file->Open() != 0) {
        Core::Log::Print(Core::Log::LevelWarning, Core::Log::ZoneApplication, __LINE__, __FILE_NAME__, true,
                         "Could not open logger writer, turning off file logging.");
        return;
    }
    SetLogFile(std::move(file));
}

void DropLogFile(const std::string& folder)
{
    SetLogFile(nullptr);
    unlink(PathIn(folder).c_str());
}

} // namespace Framegrab
