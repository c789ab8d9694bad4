#include "support/RecordingLog.h"

#include "Core/Console.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

constexpr std::uint32_t StartLevel = 2;
constexpr std::uint64_t StartZones = 0xF0;
constexpr std::uint32_t StartPipes = 7;

std::vector<TestSupport::LogEntry> s_entries;
std::mutex s_mutex;

void Record(TestSupport::LogEntry entry, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));
void Record(TestSupport::LogEntry entry, const char* format, va_list arguments)
{
    char text[8192];
    std::vsnprintf(text, sizeof(text), format, arguments);
    entry.text = text;
    const std::scoped_lock lock(s_mutex);
    s_entries.push_back(std::move(entry));
}

template <typename Mask>
void SetBit(std::atomic<Mask>& mask, std::uint32_t bit, bool on)
{
    mask = on ? mask | Mask{1} << bit : mask & ~(Mask{1} << bit);
}

} // namespace

namespace Core {

std::atomic<std::uint32_t> Log::m_level{StartLevel};
std::atomic<std::uint64_t> Log::m_zoneMask{StartZones};
std::atomic<std::uint32_t> Log::m_ioPipeMask{StartPipes};

void Log::Print(LogLevel level, LogZone zone, int /*line*/, const char* /*file*/, bool decorated,
                const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Record({.level = level, .zone = zone, .decorated = decorated, .text = {}}, format, arguments);
    va_end(arguments);
}

void Log::SetZoneBit(LogZone zone, bool on)
{
    SetBit(m_zoneMask, zone, on);
}

void Log::SetIOPipeBit(LogIOPipe pipe, bool on)
{
    SetBit(m_ioPipeMask, pipe, on);
}

void Console::Print(Log::LogLevel level, bool decorated, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Record({.toConsole = true, .level = level, .decorated = decorated, .text = {}}, format, arguments);
    va_end(arguments);
}

} // namespace Core

namespace TestSupport {

const std::vector<LogEntry>& LogEntries()
{
    return s_entries;
}

std::vector<std::string> LogTexts()
{
    std::vector<std::string> texts;
    for (const LogEntry& entry : s_entries) {
        texts.push_back(entry.text);
    }
    return texts;
}

void ClearLog()
{
    const std::scoped_lock lock(s_mutex);
    s_entries.clear();
    Core::Log::m_level = StartLevel;
    Core::Log::m_zoneMask = StartZones;
    Core::Log::m_ioPipeMask = StartPipes;
}

} // namespace TestSupport
