#include "Util/Path.h"
#include "Util/Time.h"
#include "framegrab/version.h"
#include "launcher/CommandLine.h"
#include "launcher/Defaults.h"
#include "launcher/Help.h"
#include "launcher/LauncherLog.h"
#include "launcher/Manifest.h"
#include "launcher/OutputFolder.h"
#include "launcher/Processes.h"
#include "launcher/Report.h"
#include "launcher/Say.h"
#include "launcher/Session.h"
#include "launcher/Supervisor.h"
#include "launcher/Writers.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>
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

/// @return the hook library's path as LD_PRELOAD can hold it
std::string HooksForPreload(const Session& session, const std::string& name)
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
    const fs::path link = fs::path(session.Folder()) / name;
    fs::create_symlink(library, link);
    return link.string();
}

std::vector<std::pair<std::string, std::string>> Environment(const Session& session, bool targets)
{
    std::string preload =
        HooksForPreload(session, targets ? FRAMEGRAB_TARGET_HOOKS_NAME : FRAMEGRAB_HOOKS_NAME);
    const char* const others = std::getenv("LD_PRELOAD");
    if (others && *others != '\0') {
        preload += std::string(":") + others;
    }
    return {{"LD_PRELOAD", preload}, {SessionVariable, session.Folder()}};
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

/// Makes the folder for the pictures, or says why not.
///
/// @param path  as the user wrote it; empty for one of the program's name and the time, and then receives it
bool PrepareFolder(OutputFolder& folder, std::string& path, const std::string& program)
{
    const bool isNewWanted = path.empty();
    if (isNewWanted) {
        path = program + "-" + Util::Time::GetCurrentTimeString(true);
    }
    std::string error;
    const bool isThere = isNewWanted ? folder.PrepareNew(path, error) : folder.Prepare(path, error);
    if (!isThere) {
        Say(error);
    }
    return isThere;
}

int Capture(Options options)
{
    OccupyStandardDescriptors();
    const std::string program = Util::Path::GetFilename(options.program.front());
    std::string output = options.files.folder;
    OutputFolder folder;
    if (!PrepareFolder(folder, output, program)) {
        return ExitUsage;
    }
    options.files.folder = folder.AbsolutePath();
    options.files.program = program;
    SetUpLog(options.settings.log);
    const std::size_t memory = options.memory != 0 ? options.memory : DefaultPictureMemory();
    if (memory > AvailableMemory()) {
        Say("-memory: there is less than that, " + std::to_string(AvailableMemory() >> 20U) + " MiB");
        return ExitIncomplete;
    }
    const InheritedSignals signals = BecomeSupervisor();
    Session session(options.settings, memory);
    OpenLogFile(folder.AbsolutePath());

    Writers writers(session.Memory(), options.files,
                    options.threads != 0 ? options.threads : DefaultThreads());
    pid_t process = 0;
    if (const int failure =
            StartProgram(options.program, Environment(session, options.settings.targets), signals, process)) {
        Say(options.program.front() + " cannot be started: " + std::strerror(failure));
        DropLogFile(folder.AbsolutePath());
        return failure == ENOENT ? ExitNotFound : ExitCannotExecute;
    }
    FRAMEGRAB_LOG(Core::Log::ZoneApplication, "%s started as process %d, session in %s", program.c_str(),
                  process, session.Folder().c_str());
    Manifest manifest;
    std::string error;
    if (!manifest.Open(folder.AbsolutePath(), options.program, error)) {
        Say(error);
    }
    Report report(options.settings, folder.AbsolutePath(), output, manifest);
    int status =
        Supervisor(process, program, options.timeout, options.settings, session, writers, report).Run();
    const FrameList missing = report.Finish(program, session.Memory().counters);
    if (status == 0 && (!missing.IsEmpty() || report.IsProcessLeftOut() ||
                        report.IsTriggerUnserved(session.Memory().counters))) {
        status = ExitIncomplete;
    }
    manifest.Finish(missing.ToString(), status);
    if (!manifest.Error().empty()) {
        Say(manifest.Error());
    }
    return status;
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
