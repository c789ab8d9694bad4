#include "Core/Log.h"

#include "Core/StdioWriter.h"
#include "Descriptors.h"
#include "LogOutput.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace Core {

std::atomic<std::uint32_t> Log::m_level{Log::LevelWarning};
std::atomic<std::uint64_t> Log::m_zoneMask{~std::uint64_t{0}};
std::atomic<std::uint32_t> Log::m_ioPipeMask{1U << Log::PipeConsole | 1U << Log::PipeFile};

namespace {

/// A lock that does not survive a fork: in the child it is free, whoever held it in the parent.
class ForkedLock
{
public:
    void lock() { pthread_mutex_lock(&m_mutex); }
    void unlock() { pthread_mutex_unlock(&m_mutex); }
    void MakeAnew() { m_mutex = PTHREAD_MUTEX_INITIALIZER; }

private:
    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};

struct Outputs
{
    std::shared_ptr<StdioWriter> file;
    Log::DebuggerSink debugger = nullptr; ///< null: the system log
};

/// Where messages end up. Never destroyed: threads may log while the process is being torn down.
union Lasting
{
    constexpr Lasting() : outputs() {}
    Lasting(const Lasting&) = delete;
    Lasting& operator=(const Lasting&) = delete;
    ~Lasting() {} // NOLINT(modernize-use-equals-default): that would be deleted

    Outputs outputs;
};

constinit Lasting s_lasting;

// Two locks, so that an output may change the outputs while it is given a message, and so that a fork waits
// for no message on its way.
constinit ForkedLock s_settingsLock; ///< over `s_lasting`, held for the length of a copy
constinit ForkedLock s_sendingLock; ///< over the outputs at work: messages reach them one at a time, in order

/// Whether this thread is giving a message to an output.
thread_local bool s_isSending = false;

/// A child has the forking thread alone: a lock that another one held would stay locked for good.
[[gnu::constructor]] void PrepareForForks()
{
    pthread_atfork([] { s_settingsLock.lock(); }, [] { s_settingsLock.unlock(); },
                   [] {
                       s_settingsLock.MakeAnew();
                       if (!s_isSending) { // an output that forks goes on holding the lock
                           s_sendingLock.MakeAnew();
                       }
                   });
}

constexpr std::pair<Log::LogLevel, const char*> LevelNames[] = {
    {Log::LevelAlways, "message"}, {Log::LevelError, "error"}, {Log::LevelWarning, "warning"},
    {Log::LevelNotice, "notice"},  {Log::LevelNote, "note"},   {Log::LevelDebug, "debug"},
};

constexpr std::pair<Log::LogZone, const char*> ZoneNames[] = {
    {Log::ZoneApplication, "application"},
    {Log::ZoneCapture, "capture"},
    {Log::ZoneCore, "core"},
    {Log::ZoneData, "data"},
    {Log::ZonePlayback, "playback"},
    {Log::ZoneUtil, "util"},
    {Log::ZoneDll, "dll"},
    {Log::ZoneStats, "stats"},
    {Log::ZoneApiCalls, "apicalls"},
    {Log::ZonePlaybackObjectId, "playbackobjectid"},
};

template <typename Value, std::size_t Count>
const char* NameOf(Value value, const std::pair<Value, const char*> (&names)[Count])
{
    for (const auto& [named, name] : names) {
        if (named == value) {
            return name;
        }
    }
    return "?";
}

struct Free
{
    void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, Free>;

/// @return null where memory is short or the arguments cannot be printed
Text Format(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));
Text Format(const char* format, va_list arguments)
{
    char* text = nullptr;
    return Text(vasprintf(&text, format, arguments) < 0 ? nullptr : text);
}

Text Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
Text Format(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Text text = Format(format, arguments);
    va_end(arguments);
    return text;
}

/// Gives a message to one output, whose failure must not reach the caller of the logger, nor the other
/// outputs.
template <typename Send>
void Try(Send&& send)
{
    try {
        send();
    } catch (const abi::__forced_unwind&) {
        throw; // The thread is being cancelled, which must go on.
    } catch (...) {
    }
}

void WriteToSystemLog(const char* text)
{
    const QuietWrite quiet;
    syslog(LOG_USER | LOG_DEBUG, "%s", text);
}

void Send(std::uint32_t pipes, const char* text)
{
    const auto isOn = [pipes](Log::LogIOPipe pipe) { return (pipes >> pipe & 1U) != 0; };
    const Outputs outputs = [] {
        const std::scoped_lock lock(s_settingsLock);
        return s_lasting.outputs;
    }();
    const std::scoped_lock lock(s_sendingLock);
    if (isOn(Log::PipeConsole)) {
        WriteWhole(STDERR_FILENO, text);
    }
    if (isOn(Log::PipeFile) && outputs.file) {
        Try([&] { outputs.file->Write(text); });
    }
    if (isOn(Log::PipeDebugger)) {
        Try([&] { (outputs.debugger ? outputs.debugger : &WriteToSystemLog)(text); });
    }
}

template <typename Mask>
void SetBit(std::atomic<Mask>& mask, std::uint32_t bit, bool on)
{
    if (bit >= sizeof(Mask) * 8) {
        return;
    }
    if (on) {
        mask |= Mask{1} << bit;
    } else {
        mask &= ~(Mask{1} << bit);
    }
}

} // namespace

void PrintMessage(Log::LogLevel level, Log::LogZone zone, SourcePlace place, bool decorated,
                  const char* format, va_list arguments)
{
    const std::uint32_t pipes = Log::m_ioPipeMask;
    const bool zoneIsOn = zone < 64 && (Log::m_zoneMask >> zone & 1U) != 0;
    if (level > Log::m_level || !zoneIsOn || pipes == 0 || s_isSending) {
        return;
    }
    const int error = errno;
    const Text message = Format(format, arguments);
    const char* text = message ? message.get() : format;
    Text line;
    if (decorated) {
        const char* const levelName = NameOf(level, LevelNames);
        const char* const zoneName = NameOf(zone, ZoneNames);
        line = place.file ? Format("%s [%s] %s:%d: %s\n", levelName, zoneName, place.file, place.line, text)
                          : Format("%s [%s] %s\n", levelName, zoneName, text);
    }
    s_isSending = true;
    Send(pipes, line ? line.get() : text);
    s_isSending = false;
    errno = error;
}

void Log::Print(LogLevel level, LogZone zone, int line, const char* file, bool decorated, const char* format,
                ...)
{
    va_list arguments;
    va_start(arguments, format);
    PrintMessage(level, zone, {file, line}, decorated, format, arguments);
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

std::shared_ptr<StdioWriter> Log::SetFileWriter(std::shared_ptr<StdioWriter> writer)
{
    const std::scoped_lock lock(s_settingsLock);
    s_lasting.outputs.file.swap(writer);
    return writer;
}

Log::DebuggerSink Log::SetDebuggerSink(DebuggerSink sink)
{
    const std::scoped_lock lock(s_settingsLock);
    return std::exchange(s_lasting.outputs.debugger, sink);
}

} // namespace Core
