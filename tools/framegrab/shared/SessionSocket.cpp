#include "shared/SessionSocket.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

constexpr const char* Name = "/socket";

/// Makes a socket and binds or connects it to the one name.
template <typename Operation>
Descriptor SocketIn(const std::string& folder, int flags, Operation operation)
{
    Descriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0));
    std::string path = folder + Name;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    Descriptor opened;
    if (path.size() >= sizeof(address.sun_path)) {
        // An address has little room: the folder is named by a descriptor of it.
        opened = Descriptor(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        path = "/proc/self/fd/" + std::to_string(opened.Get()) + Name;
    }
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (!socket.IsOpen() ||
        operation(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        return {};
    }
    return socket;
}

/// A message that consists of a `Welcome` and one descriptor.
class WelcomeMessage
{
public:
    explicit WelcomeMessage(Welcome& welcome) : m_part{&welcome, sizeof(welcome)}
    {
        m_message.msg_iov = &m_part;
        m_message.msg_iovlen = 1;
        m_message.msg_control = m_control.data();
        m_message.msg_controllen = m_control.size();
    }
    WelcomeMessage(const WelcomeMessage&) = delete;
    WelcomeMessage& operator=(const WelcomeMessage&) = delete;

    msghdr* Get() { return &m_message; }

private:
    iovec m_part;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> m_control{}; ///< a descriptor beside it
    msghdr m_message{};
};

} // namespace

Descriptor::Descriptor(int descriptor) : m_descriptor(descriptor)
{
    if (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        m_descriptor = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int error = errno;
        close(descriptor);
        errno = error;
    }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

Descriptor::~Descriptor()
{
    if (m_descriptor >= 0) {
        const int error = errno;
        close(m_descriptor);
        errno = error;
    }
}

Descriptor ListenIn(const std::string& folder)
{
    return SocketIn(folder, SOCK_NONBLOCK, [](int socket, const sockaddr* address, socklen_t size) {
        return bind(socket, address, size) == 0 ? listen(socket, SOMAXCONN) : -1;
    });
}

Descriptor ConnectTo(const std::string& folder)
{
    return SocketIn(folder, 0, [](int socket, const sockaddr* address, socklen_t size) {
        int result = 0;
        while ((result = connect(socket, address, size)) != 0 && errno == EINTR) {
        }
        return result;
    });
}

bool SendWelcome(const Descriptor& connection, const Welcome& welcome, const Descriptor& memory)
{
    Welcome sent = welcome;
    WelcomeMessage message(sent);
    cmsghdr* const header = CMSG_FIRSTHDR(message.Get());
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = memory.Get();
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof(descriptor));
    return sendmsg(connection.Get(), message.Get(), MSG_NOSIGNAL) == sizeof(sent);
}

Descriptor ReceiveWelcome(const Descriptor& connection, Welcome& welcome)
{
    WelcomeMessage message(welcome);
    ssize_t size = 0;
    while ((size = recvmsg(connection.Get(), message.Get(), MSG_CMSG_CLOEXEC)) < 0 && errno == EINTR) {
    }
    const cmsghdr* const header = CMSG_FIRSTHDR(message.Get());
    if (size != sizeof(welcome) || !header || header->cmsg_type != SCM_RIGHTS) {
        errno = size < 0 ? errno : ECONNRESET;
        return {};
    }
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(header), sizeof(descriptor));
    return Descriptor(descriptor);
}

} // namespace Framegrab
