#include "launcher/Say.h"

#include "launcher/Terminal.h"

#include <mutex>
#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

constexpr const char* Name = "framegrab: ";

std::mutex s_mutex; ///< guards the rest
Terminal s_terminal(STDERR_FILENO);
std::shared_ptr<Core::StdioWriter> s_logFile;

} // namespace

void Say(const std::string& text)
{
    SayAgain(text);
    SayInLog(text);
}

void SayAgain(const std::string& text)
{
    const std::scoped_lock lock(s_mutex);
    s_terminal.WriteLine(Name + text);
}

void SayInLog(const std::string& text)
{
    WriteInLog(Name + text);
}

void WriteInLog(const std::string& line)
{
    const std::scoped_lock lock(s_mutex);
    if (s_logFile) {
        s_logFile->Write((line + "\n").c_str());
    }
}

void SetLogFile(std::shared_ptr<Core::StdioWriter> file)
{
    const std::scoped_lock lock(s_mutex);
    s_logFile = std::move(file);
}

void ShowProgress(const std::string& text)
{
    const std::scoped_lock lock(s_mutex);
    s_terminal.ShowProgress(text.empty() ? text : Name + text);
}

} // namespace Framegrab
