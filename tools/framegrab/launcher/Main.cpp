#include "Util/Path.h"
#include "Util/Time.h"
#include "framegrab/version.h"
#include "launcher/Help.h"
#include "launcher/LauncherLog.h"
#include "launcher/Options.h"
#include "launcher/OutputFolder.h"
#include "launcher/Processes.h"
#include "launcher/Report.h"
#include "launcher/Say.h"
#include "launcher/Supervisor.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace Framegrab {

namespace {

namespace fs = std::filesystem;

enum ExitStatus
{
    ExitIncomplete = 1, ///< a frame asked for was not captured whole
    ExitUsage = 2,
    ExitCannotExecute = 126, ///< as a shell has it
    ExitNotFound = 127,
};

/// The folder in which the launcher and the program's processes meet.
class SessionFolder
{
public:
    SessionFolder()
    {
        m_path = (fs::absolute(fs::temp_directory_path()) / "framegrab-XXXXXX").string();
        if (!mkdtemp(m_path.data())) {
            throw std::system_error(errno, std::generic_category(), m_path);
        }
    }
    SessionFolder(const SessionFolder&) = delete;
    SessionFolder& operator=(const SessionFolder&) = delete;
    ~SessionFolder()
    {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }

    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

/// @return the hook library's path as LD_PRELOAD can hold it
std::string HooksForPreload(const SessionFolder& session, const std::string& name)
{
    const fs::path library = fs::weakly_canonical(fs::read_symlink("/proc/self/exe").parent_path() /
                                                  FRAMEGRAB_LIBRARY_FOLDER / name);
    if (!fs::exists(library)) {
        throw std::runtime_error("the library " + library.string() + " is missing");
    }
    if (library.string().find_first_of(" :") == std::string::npos) {
        return library.string();
    }
    // Blanks and colons separate one library from the next.
    const fs::path link = fs::path(session.Path()) / name;
    fs::create_symlink(library, link);
    return link.string();
}

std::vector<std::pair<std::string, std::string>> Environment(const SessionFolder& session, bool targets)
{
    std::string preload =
        HooksForPreload(session, targets ? FRAMEGRAB_TARGET_HOOKS_NAME : FRAMEGRAB_HOOKS_NAME);
    const char* const others = std::getenv("LD_PRELOAD");
    if (others && *others != '\0') {
        preload += std::string(":") + others;
    }
    return {{"LD_PRELOAD", preload}, {SessionVariable, session.Path()}};
}

std::string Answer(Options::Answer kind)
{
    switch (kind) {
    case Options::Answer::ManPage:
        return ManPage();
    case Options::Answer::Completion:
        return BashCompletion();
    case Options::Answer::Version:
        return "framegrab " FRAMEGRAB_VERSION "\n";
    default:
        return HelpText();
    }
}

int Capture(Options options)
{
    const std::string program = Util::Path::GetFilename(options.program.front());
    std::string output = options.settings.output;
    const bool isNewWanted = output.empty();
    if (isNewWanted) {
        output = program + "-" + Util::Time::GetCurrentTimeString(true);
    }
    OutputFolder folder;
    std::string error;
    if (!(isNewWanted ? folder.PrepareNew(output, error) : folder.Prepare(output, error))) {
        Say(error);
        return ExitUsage;
    }
    options.settings.output = folder.AbsolutePath();
    SetUpLog(options.settings.log);
    const SessionFolder session;
    OpenLogFile(folder.AbsolutePath(), options.settings.log);

    RecordReader records(session.Path());
    SharedCounters* const counters = MapCounters(session.Path(), true);
    if (!WriteSettings(session.Path(), options.settings) || !records.IsOpen() || !counters) {
        Say("the folder " + session.Path() + " cannot be written: " + std::strerror(errno));
        return ExitIncomplete;
    }

    pid_t process = 0;
    const InheritedSignals signals = BecomeSupervisor();
    if (const int failure =
            StartProgram(options.program, Environment(session, options.settings.targets), signals, process)) {
        Say(options.program.front() + " cannot be started: " + std::strerror(failure));
        DropLogFile(folder.AbsolutePath());
        return failure == ENOENT ? ExitNotFound : ExitCannotExecute;
    }
    FRAMEGRAB_LOG(Core::Log::ZoneApplication, "%s started as process %d, session in %s", program.c_str(),
                  process, session.Path().c_str());
    Report report(options.settings, output);
    const int status =
        Supervisor(process, program, options.timeout, options.settings, *counters, records, report).Run();
    const bool isComplete = report.Finish(program, *counters);
    if (status != 0) {
        return status;
    }
    return isComplete ? EXIT_SUCCESS : ExitIncomplete;
}

} // namespace

} // namespace Framegrab

int main(int argc, char** argv)
{
    using namespace Framegrab;
    try {
        Options options;
        std::string error;
        if (!ParseOptions({argv + 1, argv + argc}, options, error)) {
            Say(error);
            Say("-help shows how it is used");
            return ExitUsage;
        }
        if (options.answer != Options::Answer::None) {
            const std::string text = Answer(options.answer);
            const bool isPrinted = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
            return isPrinted ? EXIT_SUCCESS : ExitIncomplete;
        }
        return Capture(std::move(options));
    } catch (const std::exception& error) {
        Say(error.what());
        return ExitIncomplete;
    }
}
