#pragma once

#include <cerrno>
#include <pthread.h>

namespace Framegrab {

/// Keeps program and capture apart on the calling thread, until the end of the scope: `errno` stays as the
/// program left it, and cancellation is put off, since its unwinding must not pass through a capture.
class UndisturbedThread
{
public:
    UndisturbedThread() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancelState); }
    UndisturbedThread(const UndisturbedThread&) = delete;
    UndisturbedThread& operator=(const UndisturbedThread&) = delete;
    ~UndisturbedThread()
    {
        pthread_setcancelstate(m_cancelState, nullptr);
        errno = m_errno;
    }

private:
    const int m_errno = errno;
    int m_cancelState = PTHREAD_CANCEL_ENABLE;
};

} // namespace Framegrab
