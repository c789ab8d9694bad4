#include "Descriptors.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace Core {

QuietWrite::QuietWrite()
{
    sigset_t pending{};
    sigpending(&pending);
    sigemptyset(&m_raised);
    for (const int signal : {SIGXFSZ, SIGPIPE}) {
        if (sigismember(&pending, signal) == 0) {
            sigaddset(&m_raised, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &m_raised, &m_signals);
}

QuietWrite::~QuietWrite()
{
    const int error = errno;
    constexpr timespec AtOnce{};
    while (sigtimedwait(&m_raised, nullptr, &AtOnce) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &m_signals, nullptr);
    errno = error;
}

bool WriteWhole(int descriptor, std::string_view text)
{
    const QuietWrite quiet;
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

int OpenAboveStandard(const char* path, int flags)
{
    constexpr mode_t Mode = 0666;
    const int descriptor = open(path, flags | O_CLOEXEC, Mode);
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int above = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(descriptor);
    errno = error;
    return above;
}

} // namespace Core
