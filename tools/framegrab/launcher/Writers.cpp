#include "launcher/Writers.h"

#include "Util/GLUtils.h"
#include "launcher/LauncherLog.h"

#include <iterator>
#include <new>
#include <sched.h>
#include <set>
#include <string>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

/// Whether the pixels of an entry are there; the program may write anywhere.
bool IsWhole(const Entry& entry, std::size_t size)
{
    const Picture& picture = entry.picture;
    constexpr std::uint32_t LargestSide = 1U << 20U;
    return IsSound(picture.buffer) && picture.width <= LargestSide && picture.height <= LargestSide &&
           size == std::size_t{picture.width} * picture.height * Util::GetPitch(entry.format, entry.type);
}

/// The same of values.
///
/// @param values  receives what they are
bool IsWhole(const Entry& entry, std::span<const std::uint8_t> bytes, Values& values)
{
    const Picture& picture = entry.picture;
    constexpr std::uint32_t LargestSide = 1U << 20U;
    if (!IsSound(picture.buffer) || picture.width == 0 || picture.width > LargestSide ||
        picture.height == 0 || picture.height > LargestSide ||
        entry.values.type > static_cast<std::uint32_t>(ValueType::Int32)) {
        return false;
    }
    values = {.type = static_cast<ValueType>(entry.values.type),
              .channels = picture.buffer == Buffer::Color ? 4U : 1U,
              .width = picture.width,
              .height = picture.height,
              .data = reinterpret_cast<const std::byte*>(bytes.data())};
    values.has = entry.values.has;
    return bytes.size() == values.Pixels() * values.Pitch();
}

/// Lets the calling thread run when the program and its display server do not want the processor. Both do
/// right after a swap, which is when a picture is there to be written: a writer that is as important as they
/// are takes the processor from the thread that has just woken it, and makes the server late.
void StayBehind()
{
    if (sched_getscheduler(0) == SCHED_OTHER) {
        const sched_param none{};
        sched_setscheduler(0, SCHED_BATCH, &none); // interrupts nobody when it is woken
    }
    constexpr int Lower = 10; // a tenth of the others' share, so that a busy machine does not stop it either
    [[maybe_unused]] const int ignored = nice(Lower);
}

} // namespace

Writers::Writers(SessionMemory& memory, const FileSettings& settings, std::size_t threads)
    : m_memory(memory), m_settings(settings), m_events(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    Apply(settings);
    m_threads.reserve(threads);
    while (m_threads.size() < threads) {
        try {
            m_threads.emplace_back([this] { Run(); });
        } catch (const std::system_error& error) {
            if (m_threads.empty()) {
                throw std::system_error(error.code(), "no thread can be started to write pictures");
            }
            break; // as many as the limits on processes and memory allow
        }
    }
}

void Writers::Stop()
{
    m_isEnding = true;
    m_memory.WakeAll();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    m_threads.clear();
}

std::size_t Writers::GiveUp()
{
    Stop();
    std::size_t lost = 0;
    std::set<std::string> cutFrames;
    while (Entry* const entry = m_memory.Take()) {
        if (entry->kind == EntryKind::Image || entry->kind == EntryKind::Values) {
            ++lost;
            cutFrames.insert(FrameName(entry->picture));
        } else {
            Record& record = m_records.emplace_back(DealWithOther(*entry));
            if (cutFrames.contains(FrameName(entry->picture))) {
                record.file.picture.status = 1;
            }
        }
        m_memory.Free(*entry);
    }
    return lost;
}

void Writers::Run()
{
    StayBehind();
    while (!m_isEnding) {
        const std::uint32_t commits = m_memory.CommitCount();
        if (!DealWithNext()) {
            m_memory.WaitForCommit(commits);
        }
    }
}

/// @return false when there is nothing
bool Writers::DealWithNext()
{
    Entry* entry = nullptr;
    std::uint64_t ticket = 0;
    {
        const std::scoped_lock lock(m_mutex);
        entry = m_memory.Take();
        if (!entry) {
            return false;
        }
        ticket = m_taken++;
    }
    std::vector<Record> records;
    try {
        records = DealWith(*entry);
    } catch (const std::bad_alloc&) {
        Record& record = records.emplace_back();
        record.kind = RecordKind::File;
        record.file.picture = IsSound(entry->picture.buffer) ? entry->picture : Picture{};
        record.file.picture.status = 1;
        record.error = "there is no memory to write it";
    }
    m_memory.Free(*entry);
    Deliver(ticket, std::move(records));
    return true;
}

/// @return a record for each file that was written, or the one of something else
std::vector<Record> Writers::DealWith(const Entry& entry)
{
    const KeptLog log;
    const std::span<const std::uint8_t> bytes = m_memory.BytesOf(entry);
    std::vector<WrittenPicture> written;
    std::vector<Record> records;
    Values values;
    if (entry.kind == EntryKind::Image && IsWhole(entry, bytes.size())) {
        written.push_back(
            WritePicture(m_settings, entry.picture, {bytes, entry.format, entry.type, entry.isBGRA != 0}));
    } else if (entry.kind == EntryKind::Values && IsWhole(entry, bytes, values)) {
        written = WriteValues(
            m_settings, entry.picture, values,
            {.program = m_settings.program, .isSrgb = entry.values.isSrgb, .isExact = entry.values.isExact});
    } else {
        records.push_back(DealWithOther(entry));
    }
    for (WrittenPicture& one : written) {
        records.push_back({.kind = RecordKind::File,
                           .file = std::move(one.file),
                           .integers = std::move(one.integers),
                           .error = std::move(one.error)});
    }
    records.front().log = log.Lines();
    return records;
}

/// Deals with what makes no file.
Record Writers::DealWithOther(const Entry& entry)
{
    const std::span<const std::uint8_t> bytes = m_memory.BytesOf(entry);
    Record record{.file = {.picture = entry.picture, .name = {}}};
    switch (entry.kind) {
    case EntryKind::Image:
    case EntryKind::Values:
        record.kind = RecordKind::File;
        record.file.picture = {};
        record.file.picture.status = 1;
        record.error = "the program has written into framegrab's memory";
        break;
    case EntryKind::NoImage:
        record.kind = RecordKind::File;
        break;
    case EntryKind::FrameDone:
        record.kind = RecordKind::FrameDone;
        break;
    case EntryKind::Driver:
    case EntryKind::Message:
    case EntryKind::Log:
        record.kind = entry.kind == EntryKind::Driver ? RecordKind::Driver
                      : entry.kind == EntryKind::Log  ? RecordKind::Log
                                                      : RecordKind::Message;
        record.text.assign(bytes.begin(), bytes.end());
        break;
    }
    return record;
}

/// Passes records on in the order of their tickets, whichever is done first.
void Writers::Deliver(std::uint64_t ticket, std::vector<Record> records)
{
    const std::scoped_lock lock(m_mutex);
    m_early.emplace(ticket, std::move(records));
    for (auto next = m_early.begin(); next != m_early.end() && next->first == m_delivered;
         next = m_early.erase(next)) {
        std::move(next->second.begin(), next->second.end(), std::back_inserter(m_records));
        ++m_delivered;
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = write(m_events.Get(), &one, sizeof(one));
}

std::vector<Record> Writers::TakeRecords()
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = read(m_events.Get(), &count, sizeof(count));
    const std::scoped_lock lock(m_mutex);
    return std::exchange(m_records, {});
}

bool Writers::IsIdle()
{
    const std::scoped_lock lock(m_mutex);
    return m_taken == m_delivered && m_memory.CountCommitted() == 0;
}

} // namespace Framegrab
