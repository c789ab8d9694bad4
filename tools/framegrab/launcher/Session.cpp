#include "launcher/Session.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(int error, const std::string& what)
{
    throw std::system_error(error, std::generic_category(), what);
}

/// Lifts the limit on the size of files as far as that is allowed, until the end of the scope: the system
/// applies it to memory as well, where it has nothing to do with what the user limits.
class LiftedSizeLimit
{
public:
    LiftedSizeLimit()
    {
        getrlimit(RLIMIT_FSIZE, &m_limit);
        const rlimit lifted{m_limit.rlim_max, m_limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &lifted);
    }
    LiftedSizeLimit(const LiftedSizeLimit&) = delete;
    LiftedSizeLimit& operator=(const LiftedSizeLimit&) = delete;
    ~LiftedSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_limit); }

private:
    rlimit m_limit{};
};

constexpr const char* MemoryFileName = "framegrab";

/// How often to look whether a process that is reading has become another program.
constexpr auto LookTime = std::chrono::milliseconds(250);

/// @return a file without a name, all of whose bytes have their place in memory: a program must not be killed
///         for want of it
Descriptor MakeMemoryFile(std::size_t size)
{
    const LiftedSizeLimit lifted;
    Descriptor file(memfd_create(MemoryFileName, MFD_CLOEXEC));
    int error = file.IsOpen() ? 0 : errno;
    if (error == 0) {
        error = posix_fallocate(file.Get(), 0, static_cast<off_t>(size));
    }
    if (error != 0) {
        Fail(error, "no memory for pictures, " + std::to_string(size >> 20U) + " MiB");
    }
    return file;
}

/// @return false when a process has the memory no more, or not yet; true as well when it cannot be told
bool HasMemory(pid_t process)
{
    std::ifstream mappings("/proc/" + std::to_string(process) + "/maps");
    const std::string name = std::string("/memfd:") + MemoryFileName;
    bool isTold = false;
    for (std::string line; std::getline(mappings, line); isTold = true) {
        if (line.find(name) != std::string::npos) {
            return true;
        }
    }
    return !isTold;
}

} // namespace

SessionFolder::SessionFolder()
    : m_path((fs::absolute(fs::temp_directory_path()) / "framegrab-XXXXXX").string())
{
    if (!mkdtemp(m_path.data())) {
        Fail(errno, m_path);
    }
}

SessionFolder::~SessionFolder()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

Session::Session(const Settings& settings, std::size_t memory) : m_events(epoll_create1(EPOLL_CLOEXEC))
{
    const std::vector<std::uint8_t> bytes = ToBytes(settings);
    m_memorySize = SessionMemory::SizeFor(bytes.size(), memory);
    m_memoryFile = MakeMemoryFile(m_memorySize);
    void* const start =
        mmap(nullptr, m_memorySize, PROT_READ | PROT_WRITE, MAP_SHARED, m_memoryFile.Get(), 0);
    if (start == MAP_FAILED) {
        Fail(errno, "no memory for pictures");
    }
    m_memory = static_cast<SessionMemory*>(start);
    m_memory->Initialize(bytes, m_memorySize);
    m_memory->HoldAlive();
    m_listener = ListenIn(Folder());
    m_records =
        Descriptor(open((Folder() + "/records").c_str(), O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!m_listener.IsOpen() || !m_records.IsOpen()) {
        Fail(errno, "the folder " + Folder() + " cannot be used");
    }
    Watch(m_listener);
}

Session::~Session()
{
    munmap(m_memory, m_memorySize);
}

void Session::Watch(const Descriptor& descriptor)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor.Get();
    epoll_ctl(m_events.Get(), EPOLL_CTL_ADD, descriptor.Get(), &event);
}

void Session::Serve()
{
    std::array<epoll_event, 16> events{};
    const int count = epoll_wait(m_events.Get(), events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < count; ++i) {
        const int descriptor = events[static_cast<std::size_t>(i)].data.fd;
        if (descriptor == m_listener.Get()) {
            Welcome(Descriptor(accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC)));
        } else if (const auto client = m_clients.find(descriptor); client != m_clients.end()) {
            m_memory->FreeAllOf(client->second.number);
            m_clients.erase(client);
        } else {
            ReadFailure(descriptor);
        }
    }
    FreeOfOtherPrograms();
}

/// Frees what a process had not committed when one of its threads made it another program while another
/// thread was reading. No event tells of that.
void Session::FreeOfOtherPrograms()
{
    if (Clock::now() < m_nextLook) {
        return;
    }
    m_nextLook = Clock::now() + LookTime;
    for (const auto& [key, client] : m_clients) {
        // In this order: one that has begun something had the memory then, so it has lost it since.
        if (m_memory->IsAnythingBegunBy(client.number) && !HasMemory(client.pid)) {
            m_memory->FreeAllOf(client.number);
        }
    }
}

bool Session::IsAnyFrameBegun() const
{
    return std::any_of(m_clients.begin(), m_clients.end(), [&](const auto& client) {
        return m_memory->counters.framesBegun[client.second.number] != 0;
    });
}

/// @return the lowest number that no process has
std::uint32_t Session::FreeNumber() const
{
    const auto isTaken = [&](std::uint32_t number) {
        return std::any_of(m_clients.begin(), m_clients.end(),
                           [&](const auto& client) { return client.second.number == number; });
    };
    std::uint32_t number = 0;
    while (isTaken(number)) {
        ++number;
    }
    return number;
}

/// Sends a process the memory.
void Session::Welcome(Descriptor connection)
{
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (!connection.IsOpen() || getsockopt(connection.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return;
    }
    const auto leaveOut = [&](const std::string& reason) {
        m_failures.push_back({.kind = RecordKind::FirstSwap});
        m_failures.push_back(
            {.kind = RecordKind::Message,
             .text = "nothing can be captured of process " + std::to_string(peer.pid) + ": " + reason});
    };
    Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, peer.pid, 0)));
    if (!process.IsOpen()) {
        if (errno != ESRCH) {
            leaveOut(std::generic_category().message(errno));
        }
        return;
    }
    // A process that connects once more has become another program: what it reserved before, it has lost.
    for (auto client = m_clients.begin(); client != m_clients.end();) {
        const bool isSame = client->second.pid == peer.pid;
        if (isSame) {
            m_memory->FreeAllOf(client->second.number);
        }
        client = isSame ? m_clients.erase(client) : std::next(client);
    }
    const std::uint32_t number = FreeNumber();
    if (number >= MostClients) {
        leaveOut("there are " + std::to_string(MostClients) + " already");
        return;
    }
    if (!SendWelcome(connection, {.client = number, .size = m_memorySize}, m_memoryFile)) {
        return;
    }
    Watch(process);
    Watch(connection);
    const int key = process.Get();
    m_clients.emplace(key, Client{std::move(process), peer.pid, number});
    m_connections.push_back(std::move(connection));
}

/// Takes the reason for which a process cannot map the memory; it says nothing when it can.
void Session::ReadFailure(int connection)
{
    std::array<char, 1024> text{};
    const ssize_t size = recv(connection, text.data(), text.size(), MSG_DONTWAIT);
    if (size > 0) {
        m_failures.push_back({.kind = RecordKind::FirstSwap});
        m_failures.push_back(
            {.kind = RecordKind::Message, .text = std::string(text.data(), static_cast<std::size_t>(size))});
    } else if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
        std::erase_if(m_connections, [&](const Descriptor& other) { return other.Get() == connection; });
    }
}

std::vector<Record> Session::TakeRecords()
{
    std::vector<Record> records = std::exchange(m_failures, {});
    std::array<char, 4096> piece{};
    ssize_t size = 0;
    while ((size = read(m_records.Get(), piece.data(), piece.size())) > 0) {
        m_unread.append(piece.data(), static_cast<std::size_t>(size));
    }
    std::size_t start = 0;
    for (std::size_t end = 0; (end = m_unread.find('\0', start)) != std::string::npos; start = end + 1) {
        if (end > start) {
            records.push_back({.kind = static_cast<RecordKind>(m_unread[start] - '0'),
                               .text = m_unread.substr(start + 1, end - start - 1)});
        }
    }
    m_unread.erase(0, start);
    return records;
}

} // namespace Framegrab
