#include "Terminal.h"

#include "ChildProcess.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace TestSupport {

Terminal::Terminal(const std::vector<std::string>& command)
{
    m_process = forkpty(&m_terminal, nullptr, nullptr, nullptr);
    if (m_process != 0) {
        fcntl(m_terminal, F_SETFL, O_NONBLOCK);
        termios settings{};
        tcgetattr(m_terminal, &settings);
        settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(m_terminal, TCSANOW, &settings);
        return;
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

Terminal::~Terminal()
{
    if (m_process > 0) {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    close(m_terminal);
}

std::string Terminal::Written()
{
    char piece[4096];
    ssize_t size = 0;
    while ((size = read(m_terminal, piece, sizeof(piece))) > 0) {
        m_written.append(piece, static_cast<std::size_t>(size));
    }
    return m_written;
}

std::string Terminal::Screen()
{
    std::string screen;
    std::string line;
    std::size_t column = 0;
    const auto endLine = [&] {
        line.erase(line.find_last_not_of(' ') + 1);
        screen += line + "\n";
        line.clear();
        column = 0;
    };
    for (const char c : Written()) {
        if (c == '\n') {
            endLine();
        } else if (c == '\r') {
            column = 0;
        } else if (c == '\b') {
            column -= column > 0 ? 1 : 0;
        } else {
            line.resize(std::max(line.size(), column + 1), ' ');
            line[column++] = c;
        }
    }
    endLine();
    return screen;
}

void Terminal::Type(const std::string& keys)
{
    [[maybe_unused]] const ssize_t ignored = write(m_terminal, keys.data(), keys.size());
}

int Terminal::Wait()
{
    int status = 0;
    const bool hasEnded = WaitFor([&] {
        Written(); // it would wait for a full terminal to be read
        return waitpid(m_process, &status, WNOHANG) == m_process;
    });
    if (!hasEnded) {
        return -1;
    }
    m_process = -1;
    Written();
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace TestSupport
