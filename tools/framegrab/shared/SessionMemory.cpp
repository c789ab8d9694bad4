#include "shared/SessionMemory.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace Framegrab {

namespace {

/// Where pictures begin, in bytes: at a cache line of their own.
constexpr std::uint64_t Alignment = 64;

/// How long a wait goes on without a look at whether framegrab is still there.
constexpr long SliceNanoseconds = 250'000'000;

std::uint64_t Aligned(std::uint64_t position)
{
    return (position + Alignment - 1) / Alignment * Alignment;
}

/// Waits while a number is what it was, for a slice at most.
void FutexWait(std::atomic<std::uint32_t>& number, std::uint32_t known)
{
    const timespec slice{.tv_sec = 0, .tv_nsec = SliceNanoseconds};
    syscall(SYS_futex, &number, FUTEX_WAIT, known, &slice, nullptr, 0);
}

void CountAndWake(std::atomic<std::uint32_t>& number)
{
    ++number;
    syscall(SYS_futex, &number, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

/// Makes a mutex of which the next process learns when its owner dies.
void MakeRobust(pthread_mutex_t& mutex)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    const int error = pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "a lock that processes share");
    }
}

} // namespace

/// Lets one process at a time look for room. Its owner may be stopped, so a wait for it ends like any other.
class SessionMemory::Lock
{
public:
    explicit Lock(SessionMemory& memory) : m_memory(memory)
    {
        int result = 0;
        do {
            timespec end{};
            clock_gettime(CLOCK_REALTIME, &end);
            end.tv_nsec += SliceNanoseconds;
            end.tv_sec += end.tv_nsec / 1'000'000'000;
            end.tv_nsec %= 1'000'000'000;
            result = pthread_mutex_timedlock(&memory.m_reserving, &end);
        } while (result == ETIMEDOUT && memory.counters.isOver == 0 && memory.IsFramegrabAlive());
        if (result == EOWNERDEAD) {
            // Whatever it was doing, the states of the entries tell how far it came.
            pthread_mutex_consistent(&memory.m_reserving);
            result = 0;
        }
        m_isHeld = result == 0;
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock()
    {
        if (m_isHeld) {
            pthread_mutex_unlock(&m_memory.m_reserving);
        }
    }

    [[nodiscard]] bool IsHeld() const { return m_isHeld; }

private:
    SessionMemory& m_memory;
    bool m_isHeld = false;
};

std::size_t SessionMemory::SizeFor(std::size_t settings, std::size_t arena)
{
    return Aligned(sizeof(SessionMemory) + settings) + arena;
}

void SessionMemory::Initialize(std::span<const std::uint8_t> settings, std::size_t size)
{
    m_size = size;
    m_settingsSize = settings.size();
    m_arenaStart = SizeFor(settings.size(), 0);
    std::copy(settings.begin(), settings.end(), reinterpret_cast<std::uint8_t*>(this + 1));
    MakeRobust(m_alive);
    MakeRobust(m_reserving);
}

std::span<const std::uint8_t> SessionMemory::SettingsBytes() const
{
    return {reinterpret_cast<const std::uint8_t*>(this + 1), m_settingsSize};
}

std::span<std::uint8_t> SessionMemory::BytesOf(const Entry& entry)
{
    if (entry.position > ArenaSize() || entry.size > ArenaSize() - entry.position) {
        return {};
    }
    return {reinterpret_cast<std::uint8_t*>(this) + m_arenaStart + entry.position, entry.size};
}

std::span<Entry> SessionMemory::Entries()
{
    return {m_entries.data(), std::min<std::size_t>(m_entriesInUse, m_entries.size())};
}

// -- The side of framegrab ----------------------------------------------------------------------------------

void SessionMemory::HoldAlive()
{
    pthread_mutex_lock(&m_alive);
}

Entry* SessionMemory::Take()
{
    Entry* first = nullptr;
    for (Entry& entry : Entries()) {
        if (entry.state == EntryState::Ready && (!first || entry.turn < first->turn)) {
            first = &entry;
        }
    }
    if (first) {
        first->state = EntryState::Taken;
    }
    return first;
}

void SessionMemory::WaitForCommit(std::uint32_t commitCount)
{
    FutexWait(m_commits, commitCount);
}

void SessionMemory::WakeAll()
{
    CountAndWake(m_commits);
    CountAndWake(m_releases);
}

namespace {

bool IsCommitted(const Entry& entry)
{
    const EntryState state = entry.state;
    return state == EntryState::Ready || state == EntryState::Taken;
}

} // namespace

std::size_t SessionMemory::CountCommitted()
{
    const std::span<Entry> entries = Entries();
    return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), &IsCommitted));
}

std::size_t SessionMemory::CountCommittedImages()
{
    const std::span<Entry> entries = Entries();
    return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [](const Entry& entry) {
        return IsCommitted(entry) && (entry.kind == EntryKind::Image || entry.kind == EntryKind::Values);
    }));
}

void SessionMemory::Free(Entry& entry)
{
    entry.state = EntryState::Free;
    CountAndWake(m_releases);
}

namespace {

bool IsUncommitted(const Entry& entry, std::uint32_t client)
{
    const EntryState state = entry.state;
    return (state == EntryState::Waiting || state == EntryState::Reserved) && entry.client == client;
}

} // namespace

bool SessionMemory::IsAnythingBegunBy(std::uint32_t client)
{
    const std::span<Entry> entries = Entries();
    return counters.framesBegun[client] != 0 ||
           std::any_of(entries.begin(), entries.end(),
                       [&](const Entry& entry) { return IsUncommitted(entry, client); });
}

void SessionMemory::FreeAllOf(std::uint32_t client)
{
    for (Entry& entry : Entries()) {
        if (IsUncommitted(entry, client)) {
            Free(entry);
        }
    }
    counters.framesBegun[client] = 0;
}

// -- The side of a process ----------------------------------------------------------------------------------

bool SessionMemory::IsFramegrabAlive()
{
    const int result = pthread_mutex_trylock(&m_alive);
    if (result == EOWNERDEAD) {
        // To who tries twice, a mutex that is not repaired seems to be held.
        pthread_mutex_consistent(&m_alive);
    }
    if (result == 0 || result == EOWNERDEAD) {
        pthread_mutex_unlock(&m_alive);
    }
    return result == EBUSY;
}

Entry* SessionMemory::Reserve(std::uint32_t client, std::size_t size)
{
    if (size > ArenaSize()) {
        return nullptr;
    }
    Entry* entry = nullptr;
    for (bool isCounted = false;; isCounted = true) {
        const std::uint32_t releases = m_releases;
        if (TryReserve(entry, client, size)) {
            return entry;
        }
        if (counters.isOver != 0 || !IsFramegrabAlive()) {
            break;
        }
        if (!isCounted) {
            ++counters.waits;
        }
        FutexWait(m_releases, releases);
    }
    if (entry) {
        Free(*entry);
    }
    return nullptr;
}

/// @param entry  the place in the line, null at first; receives one where there is a place
/// @return whether it is reserved
bool SessionMemory::TryReserve(Entry*& entry, std::uint32_t client, std::size_t size)
{
    const Lock lock(*this);
    if (!lock.IsHeld()) {
        return false;
    }
    const bool isWaiting = entry != nullptr;
    if (!entry) {
        const auto free = std::find_if(m_entries.begin(), m_entries.end(),
                                       [](const Entry& other) { return other.state == EntryState::Free; });
        if (free == m_entries.end()) {
            return false;
        }
        entry = free;
        entry->client = client;
        entry->size = size;
        entry->turn = ++m_turns;
        const auto inUse = static_cast<std::uint32_t>(entry - m_entries.data()) + 1;
        m_entriesInUse = std::max<std::uint32_t>(m_entriesInUse, inUse);
    }
    std::uint64_t position = 0;
    if (IsFirstInLine(*entry) && FindRoom(size, position)) {
        entry->position = position;
        entry->state = EntryState::Reserved;
        if (isWaiting) {
            CountAndWake(m_releases); // there may be room for the next in line as well
        }
        return true;
    }
    entry->state = EntryState::Waiting;
    return false;
}

bool SessionMemory::IsFirstInLine(const Entry& entry)
{
    const std::span<Entry> entries = Entries();
    return std::none_of(entries.begin(), entries.end(), [&](const Entry& other) {
        return other.state == EntryState::Waiting && other.turn < entry.turn;
    });
}

/// The lowest room that is large enough, so that the same pages are used again and again: fresh ones cost as
/// much as encoding what is read into them.
bool SessionMemory::FindRoom(std::size_t size, std::uint64_t& position)
{
    const auto holds = [](const Entry& entry) {
        const EntryState state = entry.state;
        return state != EntryState::Free && state != EntryState::Waiting;
    };
    const std::span<Entry> entries = Entries();
    position = 0;
    while (size <= ArenaSize() && position <= ArenaSize() - size) {
        const auto obstacle = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
            return holds(entry) && entry.position < position + size && position < entry.position + entry.size;
        });
        if (obstacle == entries.end()) {
            return true;
        }
        position = Aligned(obstacle->position + obstacle->size);
    }
    return false;
}

void SessionMemory::Commit(Entry& entry)
{
    entry.turn = ++m_turns;
    entry.state = EntryState::Ready;
    CountAndWake(m_commits);
}

} // namespace Framegrab
