#pragma once

#include "launcher/Record.h"
#include "shared/SessionMemory.h"
#include "shared/SessionSocket.h"
#include "shared/Settings.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Framegrab {

/// A folder of a new name, which goes with this object.
class SessionFolder
{
public:
    SessionFolder();
    SessionFolder(const SessionFolder&) = delete;
    SessionFolder& operator=(const SessionFolder&) = delete;
    ~SessionFolder();

    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

/// The folder and the memory in which framegrab and the program's processes meet, and those of them that have
/// connected.
class Session
{
public:
    /// @param memory  room for pictures, in bytes; all of it is there afterwards, or `std::system_error` is
    ///                thrown
    Session(const Settings& settings, std::size_t memory);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    [[nodiscard]] const std::string& Folder() const { return m_folder.Path(); }
    [[nodiscard]] SessionMemory& Memory() { return *m_memory; }

    /// Can be read when there is something to serve.
    [[nodiscard]] const Descriptor& Events() const { return m_events; }

    /// Lets processes connect, and frees what those that have ended had not committed.
    void Serve();

    /// @return what was told other than through the memory since the last call
    std::vector<Record> TakeRecords();

    /// @return whether a process that shows frames has not ended
    [[nodiscard]] bool IsAnyClientRunning() const { return !m_clients.empty(); }

    /// @return whether a process is reading one
    [[nodiscard]] bool IsAnyFrameBegun() const;

private:
    using Clock = std::chrono::steady_clock;

    /// A process, as long as it runs: its memory may not be given to others before.
    struct Client
    {
        Descriptor process; ///< can be read when it has ended
        pid_t pid;
        std::uint32_t number; ///< below `MostClients`
    };

    void Watch(const Descriptor& descriptor);
    void Welcome(Descriptor connection);
    void FreeOfOtherPrograms();
    [[nodiscard]] std::uint32_t FreeNumber() const;
    void ReadFailure(int connection);

    SessionFolder m_folder;
    Descriptor m_memoryFile;
    std::size_t m_memorySize = 0;
    SessionMemory* m_memory = nullptr;
    Descriptor m_listener;
    Descriptor m_records;
    Descriptor m_events;
    std::vector<Descriptor> m_connections; ///< of processes that may have failed to map the memory
    std::map<int, Client> m_clients;       ///< by the descriptor of the process
    Clock::time_point m_nextLook{};        ///< when to look for those that have become other programs
    std::vector<Record> m_failures;
    std::string m_unread; ///< the beginning of a record that is not whole yet
};

} // namespace Framegrab
