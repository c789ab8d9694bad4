#pragma once

#include "Core/Export.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace Core {

class StdioWriter;

/// The host's logger. All members are static; any thread may call them, and so may a child that was forked
/// while another thread was logging.
///
/// A message is printed when its level is at most `m_level` and the bit of its zone is set in `m_zoneMask`.
/// It goes to each output whose bit is set in `m_ioPipeMask`.
class CORE_EXPORT Log
{
public:
    /// How much a message matters; smaller is graver.
    enum LogLevel : std::uint32_t
    {
        LevelAlways = 0,
        LevelError = 1,
        LevelWarning = 2,
        LevelNotice = 3,
        LevelNote = 4,
        LevelDebug = 5,
    };

    /// Where a message comes from: the number of a bit in `m_zoneMask`.
    enum LogZone : std::uint32_t
    {
        ZoneApplication = 0,
        ZoneCapture = 1,
        ZoneCore = 2,
        ZoneData = 3,
        ZonePlayback = 4,
        ZoneUtil = 5,
        ZoneDll = 6,
        ZoneStats = 7,
        ZoneApiCalls = 20,
        ZonePlaybackObjectId = 21,
    };

    /// Where messages go: the number of a bit in `m_ioPipeMask`.
    enum LogIOPipe : std::uint32_t
    {
        PipeDebugger = 0,
        PipeConsole = 1,
        PipeFile = 2,
    };

    /// Prints one message, if level and zone let it through. Throws nothing, leaves `errno` alone, and fits a
    /// message of any length. Where memory is short, the text comes without its origin, or its format instead
    /// of it. What an output logs while it is given a message is dropped; it may change the outputs. The
    /// console and the log file get a message in one write each; one that fails raises no signal.
    ///
    /// @param line       source line of the caller
    /// @param file       source file name of the caller
    /// @param decorated  true: the message is a line of its own, with level, zone and origin before it and a
    ///                   line end behind it; false: the text goes out as it stands
    /// @param format     printf format; its arguments follow
    static void Print(LogLevel level, LogZone zone, int line, const char* file, bool decorated,
                      const char* format, ...) __attribute__((format(printf, 6, 7)));

    /// Sets or clears the bit of one zone in `m_zoneMask`.
    static void SetZoneBit(LogZone zone, bool on);

    /// Sets or clears the bit of one output in `m_ioPipeMask`.
    static void SetIOPipeBit(LogIOPipe pipe, bool on);

    /// What the file output writes to from now on; null for nothing. The file must be open.
    ///
    /// @return what it wrote to before
    static std::shared_ptr<StdioWriter> SetFileWriter(std::shared_ptr<StdioWriter> writer);

    using DebuggerSink = void (*)(const char* text);

    /// What the debugger output writes to from now on; null for the system log, which it starts with. The
    /// logger calls it from one thread at a time.
    ///
    /// @return what it wrote to before; null for the system log
    static DebuggerSink SetDebuggerSink(DebuggerSink sink);

    static std::atomic<std::uint32_t> m_level;
    static std::atomic<std::uint64_t> m_zoneMask;
    static std::atomic<std::uint32_t> m_ioPipeMask;
};

} // namespace Core
