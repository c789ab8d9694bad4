#pragma once

#include "support/TemporaryFolder.h"

#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace TestSupport {

/// What came of a process.
struct Outcome
{
    int status = -1; ///< exit status; 128 + the signal that killed it
    std::string output;
    std::string errors; ///< standard error
    std::chrono::duration<double> time{};
};

/// A process whose output is kept in files. Killed at the end of its scope, or when this process dies.
class ChildProcess
{
public:
    /// @param command      program and arguments
    /// @param environment  "NAME=value", besides this process's own
    /// @param input        what it reads from standard input
    explicit ChildProcess(const std::vector<std::string>& command,
                          const std::vector<std::string>& environment = {}, const std::string& input = "");
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    [[nodiscard]] pid_t Id() const { return m_process; }

    /// @return standard error so far
    [[nodiscard]] std::string Errors() const { return ReadFile(m_files.File("errors")); }
    [[nodiscard]] std::string Output() const { return ReadFile(m_files.File("output")); }

    /// Waits for the process to end; kills it after half a minute.
    Outcome Wait();

private:
    TemporaryFolder m_files;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    pid_t m_process = -1;
};

/// Runs a process to its end.
Outcome RunProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment = {},
                   const std::string& input = "");

/// Asks again and again, for half a minute at most.
///
/// @return whether the condition became true
bool WaitFor(const std::function<bool()>& condition);

} // namespace TestSupport
