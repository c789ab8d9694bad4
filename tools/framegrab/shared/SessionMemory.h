#pragma once

#include "shared/Picture.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <span>

/// The memory in which the program's processes leave what they have read, and framegrab finds it.
///
/// It begins with this header; the settings follow, then the arena, in which pictures lie. Nothing but loads,
/// stores and futexes is needed to use it: a program may close files, change its root or its user, or forbid
/// itself system calls once it is mapped. A process may be killed at any instruction: an entry's state,
/// stored last, says what the entry is worth, and what a dead process had not committed is freed by
/// framegrab.
namespace Framegrab {

/// How many processes can be connected at the same time.
inline constexpr std::uint32_t MostClients = 1024;

struct SharedCounters
{
    std::atomic<std::uint32_t> capturingProcesses; ///< how many have begun to capture
    std::atomic<std::uint64_t> swaps;              ///< most swaps that one process has made
    std::atomic<std::uint64_t> framesAsked;        ///< of a window, by all triggers so far
    std::atomic<std::uint64_t> framesServed;       ///< of these, how many the foremost window has dealt with
    std::atomic<std::uint32_t> isEnding;           ///< 1 when no frame may be begun any more
    std::atomic<std::uint32_t> isOver;             ///< 1 when no swap may wait for memory any more
    std::array<std::atomic<std::uint32_t>, MostClients> framesBegun; ///< that each client reads now
    std::atomic<std::uint32_t> framesRead;                           ///< how many were dealt with
    std::atomic<std::uint32_t> isLastFrameDone;  ///< 1 when the last one asked for was, captured or not
    std::atomic<std::uint32_t> isLastFrameShown; ///< 1 when it was then swapped as well
    std::atomic<std::uint32_t> waits;            ///< how often memory was full
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free &&
              std::atomic<std::uint64_t>::is_always_lock_free);

enum class EntryKind : std::uint32_t
{
    Image,     ///< `picture`, with its pixels
    Values,    ///< `picture`, with the values of its buffer, laid out as `values` tells
    NoImage,   ///< `picture`, of which there are none: `picture.status` is why
    FrameDone, ///< all of `picture`'s frame was dealt with; `picture.status` 0: each is there or is none
    Driver,    ///< the text is what `picture.process` captures with: lines of a name, ": " and a value
    Message,   ///< the text is for the user
    Log,       ///< the text is a line of the log
};

enum class EntryState : std::uint32_t
{
    Free,
    Waiting,  ///< in line for memory
    Reserved, ///< being filled by its process
    Ready,    ///< whole, and framegrab's from now on, whatever becomes of the process
    Taken,    ///< being dealt with by framegrab
};

/// What the values of a buffer are, as of `Util::CapturedValues`.
struct ValueLayout
{
    std::uint32_t type;
    std::array<bool, 4> has; ///< whether the buffer has each component
    bool isSrgb;
    bool isExact;
};

struct Entry
{
    std::atomic<EntryState> state;
    EntryKind kind;
    std::uint32_t client;   ///< who it belongs to until it is `Ready`: a number below `MostClients`
    std::uint32_t format;   ///< of the pixels, as of `glReadPixels`
    std::uint32_t type;     ///< the same
    std::uint32_t isBGRA;   ///< not 0: bytes that come as B, G, R, A
    ValueLayout values;     ///< of values, in place of these three
    std::uint64_t turn;     ///< its place in the line, and among those that are `Ready`
    std::uint64_t position; ///< of the pixels or the text in the arena
    std::uint64_t size;     ///< in bytes
    Picture picture;
};

class SessionMemory
{
public:
    /// @param size  of all of it, in bytes
    /// @return bytes needed for this, the settings and an arena
    static std::size_t SizeFor(std::size_t settings, std::size_t arena);

    /// Lays a memory out whose bytes are all 0.
    void Initialize(std::span<const std::uint8_t> settings, std::size_t size);

    [[nodiscard]] std::span<const std::uint8_t> SettingsBytes() const;
    [[nodiscard]] std::size_t ArenaSize() const { return m_size - m_arenaStart; }

    /// @return the pixels or the text of an entry; empty when the program has written there
    [[nodiscard]] std::span<std::uint8_t> BytesOf(const Entry& entry);

    // -- The side of framegrab ------------------------------------------------------------------------------

    /// Tells the processes that framegrab is there, as long as the calling thread runs.
    void HoldAlive();

    /// Takes the entry that was committed first, if there is one. Not for two threads at a time.
    Entry* Take();

    /// Waits until something is committed after `CommitCount` gave this number, or for a quarter of a second.
    void WaitForCommit(std::uint32_t commitCount);
    [[nodiscard]] std::uint32_t CommitCount() const { return m_commits; }
    void WakeAll();

    /// @return how many entries are committed and not freed
    [[nodiscard]] std::size_t CountCommitted();
    [[nodiscard]] std::size_t CountCommittedImages();

    void Free(Entry& entry);

    /// @return whether a process is reading a frame, or has anything that it has not committed
    [[nodiscard]] bool IsAnythingBegunBy(std::uint32_t client);

    /// Frees what a process had not committed that has ended or become another program.
    void FreeAllOf(std::uint32_t client);

    // -- The side of a process ------------------------------------------------------------------------------

    [[nodiscard]] bool IsFramegrabAlive();

    /// Waits for memory, in line with others that do, until the program is to end or framegrab has gone. Not
    /// to be called by a thread that has something reserved: all might wait for each other.
    ///
    /// @return an entry to be filled, then committed or freed; null when there will be none
    Entry* Reserve(std::uint32_t client, std::size_t size);

    void Commit(Entry& entry);

    SharedCounters counters;

private:
    class Lock;

    [[nodiscard]] std::span<Entry> Entries();
    bool TryReserve(Entry*& entry, std::uint32_t client, std::size_t size);
    [[nodiscard]] bool IsFirstInLine(const Entry& entry);
    [[nodiscard]] bool FindRoom(std::size_t size, std::uint64_t& position);

    std::uint64_t m_size;
    std::uint64_t m_settingsSize;
    std::uint64_t m_arenaStart;
    pthread_mutex_t m_alive;                   ///< held by framegrab; who gets it knows that it has gone
    pthread_mutex_t m_reserving;               ///< held by a process that looks for room
    std::atomic<std::uint32_t> m_commits;      ///< futex
    std::atomic<std::uint32_t> m_releases;     ///< futex: what a reservation that waits may wait for
    std::atomic<std::uint64_t> m_turns;        ///< given out so far
    std::atomic<std::uint32_t> m_entriesInUse; ///< no entry from this one on was ever used
    std::array<Entry, 1024> m_entries;
};

} // namespace Framegrab
