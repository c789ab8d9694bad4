#include "Core/Log.h"

#include "Core/StdioWriter.h"
#include "LogOutput.h"

#include <cstdio>
#include <mutex>
#include <string>
#include <syslog.h>
#include <utility>

namespace Core {

std::atomic<std::uint32_t> Log::m_level{Log::LevelWarning};
std::atomic<std::uint64_t> Log::m_zoneMask{~std::uint64_t{0}};
std::atomic<std::uint32_t> Log::m_ioPipeMask{1U << Log::PipeConsole | 1U << Log::PipeFile};

namespace {

void WriteToSystemLog(const char* text)
{
    syslog(LOG_USER | LOG_DEBUG, "%s", text);
}

/// Where messages end up. One lock over all of them keeps lines whole and in one order.
struct Outputs
{
    std::mutex mutex;
    std::shared_ptr<StdioWriter> file;
    Log::DebuggerSink debugger = &WriteToSystemLog;
};

Outputs& TheOutputs()
{
    // Never destroyed: threads may log while the process is being torn down.
    static auto* const outputs = new Outputs;
    return *outputs;
}

const char* ZoneName(Log::LogZone zone)
{
    switch (zone) {
    case Log::ZoneApplication:
        return "application";
    case Log::ZoneCapture:
        return "capture";
    case Log::ZoneCore:
        return "core";
    case Log::ZoneData:
        return "data";
    case Log::ZonePlayback:
        return "playback";
    case Log::ZoneUtil:
        return "util";
    case Log::ZoneDll:
        return "dll";
    case Log::ZoneStats:
        return "stats";
    case Log::ZoneApiCalls:
        return "apicalls";
    case Log::ZonePlaybackObjectId:
        return "playbackobjectid";
    }
    return "zone";
}

const char* LevelName(Log::LogLevel level)
{
    switch (level) {
    case Log::LevelAlways:
        return "message";
    case Log::LevelError:
        return "error";
    case Log::LevelWarning:
        return "warning";
    case Log::LevelNotice:
        return "notice";
    case Log::LevelNote:
        return "note";
    case Log::LevelDebug:
        return "debug";
    }
    return "level";
}

std::string Format(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));
std::string Format(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text;
    if (length > 0) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
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
    if (level > Log::m_level || !zoneIsOn || pipes == 0) {
        return;
    }

    std::string text = Format(format, arguments);
    if (decorated) {
        std::string origin = std::string(LevelName(level)) + " [" + ZoneName(zone) + "] ";
        if (place.file) {
            origin += std::string(place.file) + ":" + std::to_string(place.line) + ": ";
        }
        text = origin + text + "\n";
    }

    Outputs& outputs = TheOutputs();
    const std::scoped_lock lock(outputs.mutex);
    if (pipes >> Log::PipeDebugger & 1U) {
        outputs.debugger(text.c_str());
    }
    if (pipes >> Log::PipeConsole & 1U) {
        std::fputs(text.c_str(), stderr);
    }
    if ((pipes >> Log::PipeFile & 1U) && outputs.file) {
        outputs.file->Write(text.c_str());
    }
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

void Log::SetFileWriter(std::shared_ptr<StdioWriter> writer)
{
    Outputs& outputs = TheOutputs();
    const std::scoped_lock lock(outputs.mutex);
    outputs.file = std::move(writer);
}

void Log::SetDebuggerSink(DebuggerSink sink)
{
    Outputs& outputs = TheOutputs();
    const std::scoped_lock lock(outputs.mutex);
    outputs.debugger = sink ? sink : &WriteToSystemLog;
}

} // namespace Core
