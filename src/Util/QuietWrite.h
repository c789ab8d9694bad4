#pragma once

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <pthread.h>

namespace Util {

/// Writes to a stream without a buffer. A file that may not grow so far and a pipe that nobody reads would
/// end the process, by `SIGXFSZ` and `SIGPIPE`; here they are errors like that of a full disk.
///
/// @return whether all bytes were written; if not, `errno` tells why
inline bool WriteQuietly(std::FILE* file, const void* bytes, std::size_t size)
{
    sigset_t pending{};
    sigset_t raised{}; // by the write: what was waiting for this thread before is the application's
    sigset_t previous{};
    sigpending(&pending);
    sigemptyset(&raised);
    for (const int signal : {SIGXFSZ, SIGPIPE}) {
        if (sigismember(&pending, signal) == 0) {
            sigaddset(&raised, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &raised, &previous);
    const bool isWritten = std::fwrite(bytes, 1, size, file) == size;
    const int error = errno;
    if (!isWritten) {
        constexpr timespec AtOnce{};
        sigtimedwait(&raised, nullptr, &AtOnce);
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = error;
    return isWritten;
}

} // namespace Util
