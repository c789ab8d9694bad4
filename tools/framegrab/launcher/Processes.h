#pragma once

#include <csignal>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace Framegrab {

/// What the launcher changes for itself before it starts the program, and what the program gets back.
struct InheritedSignals
{
    sigset_t mask;
    struct sigaction childEnded;
    struct sigaction brokenPipe;
    struct sigaction fileTooLarge;
};

/// Opens those of the descriptors 0 to 2 that are closed, so that no file of the launcher's gets one: what is
/// said to the user would be written into it. The program finds them closed.
void OccupyStandardDescriptors();

/// Lets the launcher wait for signals instead of being interrupted, and makes it the parent of every process
/// that the program leaves behind.
///
/// @return what was set before
InheritedSignals BecomeSupervisor();

/// The signals that `BecomeSupervisor` holds back: the end of a child, and those by which a user or the
/// system ends a program, or triggers a capture.
sigset_t SupervisedSignals();

/// Starts a program, found as a shell would find it.
///
/// It stays in the launcher's process group, so that a terminal's keys and job control reach both alike. When
/// the launcher is killed, it goes on by itself.
///
/// @param command      program and arguments
/// @param environment  variables to set, by name
/// @param process      receives the new process
/// @return 0, or the `errno` for which it could not be started
int StartProgram(const std::vector<std::string>& command,
                 const std::vector<std::pair<std::string, std::string>>& environment,
                 const InheritedSignals& signals, pid_t& process);

/// @return the processes that descend from the calling one and still run
std::vector<pid_t> Descendants();

} // namespace Framegrab
