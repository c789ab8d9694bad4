#include "launcher/Processes.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Framegrab {

namespace {

/// In the child, up to the program's start. Returns only on failure.
void Execute(const std::vector<std::string>& command,
             const std::vector<std::pair<std::string, std::string>>& environment,
             const InheritedSignals& signals)
{
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    sigaction(SIGCHLD, &signals.childEnded, nullptr);
    sigaction(SIGPIPE, &signals.brokenPipe, nullptr);
    sigaction(SIGXFSZ, &signals.fileTooLarge, nullptr);
    sigprocmask(SIG_SETMASK, &signals.mask, nullptr);
    execvp(arguments.front(), arguments.data());
}

/// @return the parent of a running process; 0 when it has ended, which may be at any moment
pid_t RunningParentOf(pid_t process)
{
    char text[512]{};
    const int file = open(("/proc/" + std::to_string(process) + "/stat").c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t size = file >= 0 ? read(file, text, sizeof(text) - 1) : -1;
    if (file >= 0) {
        close(file);
    }
    // "pid (name) state parent ...", where the name may hold anything.
    const char* const nameEnd = size > 0 ? std::strrchr(text, ')') : nullptr;
    if (!nameEnd || std::strlen(nameEnd) < 5 || nameEnd[2] == 'Z' || nameEnd[2] == 'X') {
        return 0;
    }
    return static_cast<pid_t>(std::atol(nameEnd + 4));
}

} // namespace

void OccupyStandardDescriptors()
{
    int file = 0;
    do {
        file = open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (file >= 0 && file <= STDERR_FILENO);
    if (file >= 0) {
        close(file);
    }
}

sigset_t SupervisedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGUSR1}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

InheritedSignals BecomeSupervisor()
{
    InheritedSignals inherited{};
    const sigset_t signals = SupervisedSignals();
    sigprocmask(SIG_BLOCK, &signals, &inherited.mask);

    struct sigaction action
    {};
    action.sa_handler = SIG_DFL; // where it is ignored, no child can be waited for
    sigaction(SIGCHLD, &action, &inherited.childEnded);
    action.sa_handler = SIG_IGN; // who closes our standard error must not end the supervision
    sigaction(SIGPIPE, &action, &inherited.brokenPipe);
    sigaction(SIGXFSZ, &action, &inherited.fileTooLarge); // a file that is too large is an error of its write

    prctl(PR_SET_CHILD_SUBREAPER, 1);
    return inherited;
}

int StartProgram(const std::vector<std::string>& command,
                 const std::vector<std::pair<std::string, std::string>>& environment,
                 const InheritedSignals& signals, pid_t& process)
{
    // Closed by a successful exec; a failed one sends its errno.
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return errno;
    }
    process = fork();
    if (process == 0) {
        Execute(command, environment, signals);
        const int error = errno;
        [[maybe_unused]] const ssize_t ignored = write(ends[1], &error, sizeof(error));
        _exit(EXIT_FAILURE);
    }
    int error = process < 0 ? errno : 0;
    close(ends[1]);
    if (process > 0 && read(ends[0], &error, sizeof(error)) == sizeof(error)) {
        waitpid(process, nullptr, 0);
    }
    close(ends[0]);
    return error;
}

std::vector<pid_t> Descendants()
{
    std::multimap<pid_t, pid_t> children;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const auto process = static_cast<pid_t>(std::atol(entry.path().filename().c_str()));
        const pid_t parent = process > 0 ? RunningParentOf(process) : 0;
        if (parent > 0) {
            children.emplace(parent, process);
        }
    }
    std::vector<pid_t> found;
    for (std::vector<pid_t> parents{getpid()}; !parents.empty();) {
        const auto [first, last] = children.equal_range(parents.back());
        parents.pop_back();
        for (auto child = first; child != last; ++child) {
            found.push_back(child->second);
            parents.push_back(child->second);
        }
    }
    return found;
}

} // namespace Framegrab
