#include "ChildProcess.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace TestSupport {

namespace {

using namespace std::chrono_literals;

void Redirect(int descriptor, const std::string& path, int flags)
{
    const int file = open(path.c_str(), flags, 0600);
    dup2(file, descriptor);
    close(file);
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::vector<std::string>& environment, const std::string& input)
{
    std::ofstream(m_files.File("input"), std::ios::binary) << input;
    m_process = fork();
    if (m_process != 0) {
        return;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Redirect(STDIN_FILENO, m_files.File("input"), O_RDONLY);
    Redirect(STDOUT_FILENO, m_files.File("output"), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND);
    Redirect(STDERR_FILENO, m_files.File("errors"), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND);
    for (const std::string& variable : environment) {
        putenv(const_cast<char*>(variable.c_str()));
    }
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    _exit(96);
}

ChildProcess::~ChildProcess()
{
    if (m_process > 0) {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
}

Outcome ChildProcess::Wait()
{
    int status = 0;
    const pid_t process = m_process;
    if (!WaitFor([&] { return waitpid(process, &status, WNOHANG) == process; })) {
        kill(process, SIGKILL);
        waitpid(process, &status, 0);
    }
    m_process = -1;
    return {.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status),
            .output = Output(),
            .errors = Errors(),
            .time = std::chrono::steady_clock::now() - m_start};
}

Outcome RunProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                   const std::string& input)
{
    return ChildProcess(command, environment, input).Wait();
}

bool WaitFor(const std::function<bool()>& condition)
{
    for (const auto end = std::chrono::steady_clock::now() + 30s; std::chrono::steady_clock::now() < end;) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(5ms);
    }
    return condition();
}

} // namespace TestSupport
