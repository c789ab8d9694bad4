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

LogSettings SetUpLog(const std::map<std::string, std::string>& values)
{
    // A mask that no name stands for: what is left of it was not set by the option.
    constexpr std::uint32_t NotSet = 1U << Core::Log::PipeDebugger | 1U << 30;
    Core::Log::SetDebuggerSink(&PassOnLog);
    Core::Log::m_ioPipeMask = NotSet;

    const auto apply = [&](const char* option, void (*parse)(const std::string&)) {
        const auto value = values.find(option);
        if (value != values.end()) {
            parse(value->second);
        }
    };
    apply("-loglevel", &Util::ParseCmdArgsLogLevel);
    apply("-logzones", &Util::ParseCmdArgsLogZone);
    apply("-logiopipe", &Util::ParseCmdArgsLogIOPipe);

    s_settings.level = Core::Log::m_level;
    s_settings.zones = Core::Log::m_zoneMask;
    if (Core::Log::m_ioPipeMask != NotSet) {
        s_settings.pipes = Core::Log::m_ioPipeMask;
    }
    Core::Log::m_ioPipeMask = RedirectedPipes(s_settings);
    return s_settings;
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
