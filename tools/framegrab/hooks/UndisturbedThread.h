#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>
#include <pthread.h>

namespace Framegrab {

/// Keeps program and capture apart on the calling thread, until the end of the scope: `errno` stays as the
/// program left it; cancellation is put off, since its unwinding must not pass through a capture; and a file
/// beyond the program's size limit is an error to the capture alone.
class UndisturbedThread
{
public:
    UndisturbedThread()
    {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancelState);
        sigemptyset(&m_limit);
        sigaddset(&m_limit, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &m_limit, &m_signals);
    }
    UndisturbedThread(const UndisturbedThread&) = delete;
    UndisturbedThread& operator=(const UndisturbedThread&) = delete;
    ~UndisturbedThread()
    {
        if (sigismember(&m_signals, SIGXFSZ) == 0) {
            constexpr timespec AtOnce{};
            sigtimedwait(&m_limit, nullptr, &AtOnce); // the one that a write of ours has raised
            pthread_sigmask(SIG_SETMASK, &m_signals, nullptr);
        }
        pthread_setcancelstate(m_cancelState, nullptr);
        errno = m_errno;
    }

private:
    const int m_errno = errno;
    int m_cancelState = PTHREAD_CANCEL_ENABLE;
    sigset_t m_limit{};   ///< the signal of a file beyond the limit alone
    sigset_t m_signals{}; ///< the program's mask
};

} // namespace Framegrab
