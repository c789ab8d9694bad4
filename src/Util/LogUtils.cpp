#include "Util/LogUtils.h"

#include "Core/Console.h"
#include "Core/Log.h"
#include "Util/LogNames.h"
#include "Util/NoThrow.h"
#include "Util/String.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

namespace Util {

using Core::Console;
using Core::Log;

namespace {

/// Puts a setting of the logger back at the end of its scope.
template <typename Setting>
class Restored
{
public:
    explicit Restored(std::atomic<Setting>& setting) : m_setting(setting), m_saved(setting) {}
    Restored(const Restored&) = delete;
    Restored& operator=(const Restored&) = delete;
    ~Restored() { m_setting = m_saved; }

private:
    std::atomic<Setting>& m_setting;
    Setting m_saved;
};

/// Lets warnings of the console through, whatever the logger's settings, as long as it is in scope.
class WarningsShown
{
public:
    WarningsShown()
    {
        Log::SetZoneBit(Log::ZoneCore, true);
        Log::m_level = Log::LevelWarning;
    }

private:
    Restored<std::uint32_t> m_level{Log::m_level};
    Restored<std::uint64_t> m_zones{Log::m_zoneMask};
};

/// Replaces a mask of the logger by the bits that the value of an option names.
///
/// @param option   as on the command line
/// @param subject  what a bit of the mask is
template <typename Mask, std::size_t Count>
void ParseMask(const std::string& value, const std::array<NamedBits<Mask>, Count>& names, const char* option,
               const char* subject, std::atomic<Mask>& setting)
{
    std::vector<std::string> tokens;
    String::Tokenize(String::ToLower(value), "|:", &tokens);

    Mask mask = 0;
    for (const std::string& token : tokens) {
        const auto found = std::ranges::find(names, token, &NamedBits<Mask>::name);
        if (found != names.end()) {
            mask |= found->bits;
        } else {
            const WarningsShown shown;
            Console::Print(Log::LevelWarning, true, "Unrecognized log %s bitfield: %s.", subject,
                           token.c_str());
        }
    }
    if (mask != 0) {
        setting = mask;
    } else {
        Console::Print(Log::LevelError, true, "Ignoring %s option because the specified value is invalid.",
                       option);
    }
}

} // namespace

void PrintMessageAndBackspaces(const std::string& message)
{
    const std::string backspaces = NoThrow([&] { return std::string(message.size(), '\b'); });
    const Restored restored(Log::m_ioPipeMask);
    Log::SetIOPipeBit(Log::PipeFile, false);
    Log::SetIOPipeBit(Log::PipeDebugger, false);
    Console::Print(Log::LevelNotice, false, "%s", message.c_str());
    Console::Print(Log::LevelNotice, false, "%s", backspaces.c_str());
}

void ParseCmdArgsLogLevel(const std::string& value)
{
    const int level = String::ToInt(value);
    if (static_cast<std::uint32_t>(level) <= Log::LevelDebug) {
        Log::m_level = static_cast<std::uint32_t>(level);
        return;
    }
    const WarningsShown shown;
    Console::Print(Log::LevelWarning, false,
                   "Unrecognized -loglevel value: %d.  Skipping log level override.", level);
}

void ParseCmdArgsLogZone(const std::string& value)
{
    ParseMask(value, LogZoneNames, "-logzones", "zone", Log::m_zoneMask);
}

void ParseCmdArgsLogIOPipe(const std::string& value)
{
    ParseMask(value, LogIOPipeNames, "-logiopipe", "iopipe", Log::m_ioPipeMask);
}

std::shared_ptr<Core::StdioWriter> LoggerCreateStdioWriter(const std::string& baseName)
{
    bool isOpen = false;
    // A path ends at its first zero: what stands before one in the name is another file, not to be emptied.
    const bool isPath = baseName.find('\0') == std::string::npos;
    auto writer = NoThrow([&] {
        const std::string fileName = baseName + ".log";
        auto made = std::make_shared<Core::StdioWriter>(fileName, true, true);
        if (isPath) {
            made->Open();
        }
        made.reset();
        made = std::make_shared<Core::StdioWriter>(fileName, false, true);
        isOpen = isPath && made->Open() == 0;
        return made;
    });
    if (!isOpen) {
        Log::SetIOPipeBit(Log::PipeFile, false);
        Log::Print(Log::LevelWarning, Log::ZoneApplication, __LINE__, __FILE_NAME__, true,
                   "Could not open logger writer, turning off file logging.");
    }
    return writer;
}

} // namespace Util
