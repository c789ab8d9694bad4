#include "launcher/Say.h"

#include "Core/Log.h"
#include "Util/LogUtils.h"

#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

std::shared_ptr<Core::StdioWriter> s_logFile;
std::size_t s_progressSize = 0; ///< bytes of the progress line that is on the screen

/// The logger's settings with which a progress line is printed whatever the user wants logged, until the end
/// of the scope.
class ProgressIsPrinted
{
public:
    ProgressIsPrinted()
        : m_level(Core::Log::m_level), m_zones(Core::Log::m_zoneMask), m_pipes(Core::Log::m_ioPipeMask)
    {
        Core::Log::m_level = Core::Log::LevelNotice;
        Core::Log::SetZoneBit(Core::Log::ZoneCore, true);
        Core::Log::SetIOPipeBit(Core::Log::PipeConsole, true);
    }
    ProgressIsPrinted(const ProgressIsPrinted&) = delete;
    ProgressIsPrinted& operator=(const ProgressIsPrinted&) = delete;
    ~ProgressIsPrinted()
    {
        Core::Log::m_level = m_level;
        Core::Log::m_zoneMask = m_zones;
        Core::Log::m_ioPipeMask = m_pipes;
    }

private:
    std::uint32_t m_level;
    std::uint64_t m_zones;
    std::uint32_t m_pipes;
};

} // namespace

void Say(const std::string& text)
{
    SayAgain(text);
    if (s_logFile) {
        s_logFile->Write(("framegrab: " + text + "\n").c_str());
    }
}

void SayAgain(const std::string& text)
{
    ShowProgress("");
    const std::string line = "framegrab: " + text + "\n";
    // Where standard error is closed there is nobody to tell.
    [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
}

void SetLogFile(std::shared_ptr<Core::StdioWriter> file)
{
    s_logFile = std::move(file);
}

void ShowProgress(const std::string& text)
{
    static const bool isTerminal = isatty(STDERR_FILENO) == 1;
    std::string line = text.empty() ? text : "framegrab: " + text;
    if (!isTerminal || (line.empty() && s_progressSize == 0)) {
        return;
    }
    const std::size_t size = line.size();
    if (size < s_progressSize) {
        line.append(s_progressSize - size, ' ');
    }
    const ProgressIsPrinted settings;
    Util::PrintMessageAndBackspaces(line);
    s_progressSize = size;
}

} // namespace Framegrab
