#pragma once

#include <sys/resource.h>

namespace TestSupport {

/// While one lives, no file of the process grows beyond a size: a write fails there with `EFBIG`,
/// and ends the process unless it sees to the signal.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_previous);
        const rlimit limit{bytes, m_previous.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_previous); }

private:
    rlimit m_previous{};
};

} // namespace TestSupport
