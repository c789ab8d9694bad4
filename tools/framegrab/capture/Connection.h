#pragma once

#include "shared/SessionMemory.h"
#include "shared/Settings.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace Framegrab {

/// What a process of the program has of framegrab: the session's memory, and the settings in it.
///
/// Nothing is left open behind it: from here on there is only memory. Used by one thread at a time.
class Connection
{
public:
    /// Connects to framegrab. What goes wrong is told to it, where it is there.
    ///
    /// @param folder  of the session
    /// @return null on failure
    static std::unique_ptr<Connection> Open(const char* folder);

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    [[nodiscard]] const Settings& GetSettings() const { return m_settings; }
    [[nodiscard]] SessionMemory& Memory() { return *m_memory; }
    [[nodiscard]] SharedCounters& Counters() { return m_memory->counters; }

    /// How many frames this process is reading.
    [[nodiscard]] std::atomic<std::uint32_t>& FramesBegun() { return Counters().framesBegun[m_client]; }

    /// @return memory for a picture's pixels, for which this waits; null when there will be none
    Entry* ReservePixels(std::size_t size);

    /// Tells framegrab something, for which it waits as well.
    void Tell(EntryKind kind, const Picture& picture, std::string_view text = {});

    /// Tells what was logged since the last call. A message that is logged while a picture is read stays here
    /// until that picture is committed: who holds memory must not wait for more.
    void TellLog();

private:
    Connection(SessionMemory* memory, std::size_t size, std::uint32_t client)
        : m_memory(memory), m_size(size), m_client(client)
    {}

    static void KeepLine(const char* text);

    static std::atomic<Connection*> s_current; ///< whose log the library's messages are

    SessionMemory* m_memory;
    std::size_t m_size;
    std::uint32_t m_client;
    Settings m_settings;
    std::vector<std::string> m_log; ///< lines that framegrab has not been told
};

} // namespace Framegrab
