#include "capture/Connection.h"

#include "Core/Log.h"
#include "shared/SessionRecords.h"
#include "shared/SessionSocket.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <sys/socket.h>

namespace Framegrab {

std::atomic<Connection*> Connection::s_current{nullptr};

namespace {

std::string Reason(const char* what)
{
    return std::string("nothing can be captured: ") + what + ": " + std::strerror(errno);
}

} // namespace

std::unique_ptr<Connection> Connection::Open(const char* folder)
{
    s_current = nullptr; // in a forked child, the parent's
    const Descriptor connection = ConnectTo(folder);
    Welcome welcome{};
    const Descriptor memory = connection.IsOpen() ? ReceiveWelcome(connection, welcome) : Descriptor();
    if (!memory.IsOpen()) {
        const std::string reason = Reason("framegrab cannot be reached");
        AppendRecord(folder, RecordKind::FirstSwap);
        AppendRecord(folder, RecordKind::Message, reason.c_str());
        return nullptr;
    }
    void* const bytes = mmap(nullptr, welcome.size, PROT_READ | PROT_WRITE, MAP_SHARED, memory.Get(), 0);
    if (bytes == MAP_FAILED) {
        const std::string reason = Reason("the memory that framegrab shares cannot be mapped");
        send(connection.Get(), reason.data(), reason.size(), MSG_NOSIGNAL);
        return nullptr;
    }
    // A child that goes on without a new program is a process of its own, and connects for itself.
    madvise(bytes, welcome.size, MADV_DONTFORK);
    std::unique_ptr<Connection> result(
        new Connection(static_cast<SessionMemory*>(bytes), welcome.size, welcome.client));
    if (!FromBytes(result->m_memory->SettingsBytes(), result->m_settings)) {
        return nullptr;
    }
    // The logger is this library's own: the program's, if it has one, goes on as it was.
    s_current = result.get();
    SendLogTo(&KeepLine, result->m_settings.log);
    return result;
}

Connection::~Connection()
{
    if (s_current == this) {
        s_current = nullptr;
    }
    munmap(m_memory, m_size);
}

Entry* Connection::ReservePixels(std::size_t size)
{
    TellLog();
    return m_memory->Reserve(m_client, size);
}

void Connection::Tell(EntryKind kind, const Picture& picture, std::string_view text)
{
    if (Entry* const entry = m_memory->Reserve(m_client, text.size())) {
        entry->kind = kind;
        entry->picture = picture;
        std::copy(text.begin(), text.end(), m_memory->BytesOf(*entry).begin());
        m_memory->Commit(*entry);
    }
}

void Connection::TellLog()
{
    for (const std::string& line : m_log) {
        Tell(EntryKind::Log, {}, line);
    }
    m_log.clear();
}

void Connection::KeepLine(const char* text)
{
    if (Connection* const connection = s_current) {
        connection->m_log.emplace_back(text);
    }
}

} // namespace Framegrab
