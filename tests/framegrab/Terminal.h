#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace TestSupport {

/// A process on a terminal of its own, which shows no typed keys. Killed at the end of its scope.
class Terminal
{
public:
    explicit Terminal(const std::vector<std::string>& command);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    /// Everything written so far, as it was written.
    std::string Written();

    /// What is to be seen of it, after all backspaces: lines without blanks at their ends.
    std::string Screen();

    void Type(const std::string& keys);

    /// Waits for the process to end.
    ///
    /// @return exit status; 128 + the signal that killed it; -1 when it did not end and was killed
    int Wait();

private:
    int m_terminal = -1;
    pid_t m_process = -1;
    std::string m_written;
};

} // namespace TestSupport
