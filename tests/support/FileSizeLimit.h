#pragma once

#include <csignal>
#include <sys/resource.h>

namespace TestSupport {

/// While one lives, no file of the process grows beyond a size: a write fails there with `EFBIG`.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes) : m_previousHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_previous);
        const rlimit limit{bytes, m_previous.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_previousHandler);
    }

private:
    void (*m_previousHandler)(int);
    rlimit m_previous{};
};

} // namespace TestSupport
