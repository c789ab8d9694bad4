#pragma once

#include "launcher/PictureWriter.h"
#include "launcher/Record.h"
#include "shared/SessionMemory.h"
#include "shared/SessionSocket.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace Framegrab {

/// Threads that write the pictures which processes have left in the memory.
class Writers
{
public:
    /// @param memory, settings  outlive this object
    Writers(SessionMemory& memory, const FileSettings& settings, std::size_t threads);
    Writers(const Writers&) = delete;
    Writers& operator=(const Writers&) = delete;

    ~Writers() { Stop(); }

    /// Can be read when there are records.
    [[nodiscard]] const Descriptor& Events() const { return m_events; }

    /// @return what came through the memory and was dealt with since the last call, in the order in which it
    ///         was committed
    std::vector<Record> TakeRecords();

    /// @return whether all that was committed is written, and its records are there to be taken
    bool IsIdle();

    /// @return how many pictures have been read and not written
    std::size_t CountUnwritten() { return m_memory.CountCommittedImages(); }

    /// Writes nothing more once the pictures that are being written are done. By the records, the frames of
    /// the others are not whole.
    ///
    /// @return how many pictures have been read and will not be written
    std::size_t GiveUp();

private:
    void Stop();
    void Run();
    bool DealWithNext();
    std::vector<Record> DealWith(const Entry& entry);
    Record DealWithOther(const Entry& entry);
    void Deliver(std::uint64_t ticket, std::vector<Record> records);

    SessionMemory& m_memory;
    const FileSettings& m_settings;
    Descriptor m_events;
    std::atomic<bool> m_isEnding{false};

    std::mutex m_mutex;                                   ///< guards what follows
    std::uint64_t m_taken = 0;                            ///< entries so far; the number of one is its ticket
    std::uint64_t m_delivered = 0;                        ///< of them, those whose records were passed on
    std::map<std::uint64_t, std::vector<Record>> m_early; ///< by ticket; one before them is missing
    std::vector<Record> m_records;

    std::vector<std::thread> m_threads;
};

} // namespace Framegrab
