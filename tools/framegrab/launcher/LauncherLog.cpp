#include "launcher/LauncherLog.h"

#include "Util/LogUtils.h"
#include "launcher/Say.h"

#include <memory>
#include <unistd.h>

namespace Framegrab {

namespace {

LogSettings s_settings;

void PassOnLog(const char* text)
{
    PassOn(s_settings, text, &SayAgain);
}

} // namespace

void SetUpLog(const LogSettings& settings)
{
    s_settings = settings;
    Core::Log::SetDebuggerSink(&PassOnLog);
    Core::Log::m_level = settings.level;
    Core::Log::m_zoneMask = settings.zones;
    Core::Log::m_ioPipeMask = RedirectedPipes(settings);
}

void OpenLogFile(const std::string& folder, LogSettings& settings)
{
    if (!settings.IsOn(Core::Log::PipeFile)) {
        return;
    }
    const std::shared_ptr<Core::StdioWriter> file = Util::LoggerCreateStdioWriter(folder + "/" + LogFileName);
    if ((Core::Log::m_ioPipeMask >> Core::Log::PipeFile & 1U) == 0) {
        settings.pipes &= ~(1U << Core::Log::PipeFile);
        return;
    }
    Core::Log::SetFileWriter(file);
    SetLogFile(file);
}

void DropLogFile(const std::string& folder)
{
    Core::Log::SetFileWriter(nullptr);
    SetLogFile(nullptr);
    unlink((folder + "/" + LogFileName + ".log").c_str());
}

} // namespace Framegrab
