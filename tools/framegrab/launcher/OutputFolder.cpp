#include "launcher/OutputFolder.h"

#include "Util/Path.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace Framegrab {

namespace {

/// Makes a folder given by its path from the root, which `CreateFolder` takes as a path from the current
/// folder only.
bool CreateAbsoluteFolder(const std::string& path)
{
    const int current = open(".", O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (current < 0 || chdir("/") != 0) {
        return false;
    }
    const std::size_t start = path.find_first_not_of('/');
    bool isMade = start == std::string::npos || Util::Path::CreateFolder(path.substr(start));
    const int error = errno;
    isMade = fchdir(current) == 0 && isMade;
    close(current);
    errno = error;
    return isMade;
}

} // namespace

OutputFolder::~OutputFolder()
{
    if (m_isNew) {
        rmdir(m_absolutePath.c_str());
    }
}

bool OutputFolder::Prepare(const std::string& path, std::string& error)
{
    const std::string quoted = "\"" + path + "\"";
    std::error_code status;
    // Links are followed: what ".." means after one depends on where it leads.
    m_absolutePath = std::filesystem::weakly_canonical(std::filesystem::absolute(path, status), status);
    if (!std::filesystem::exists(m_absolutePath, status)) {
        m_isNew = CreateAbsoluteFolder(m_absolutePath);
        if (!m_isNew) {
            error = "the output folder " + quoted + " cannot be made: " + std::strerror(errno);
            return false;
        }
    }
    if (!std::filesystem::is_directory(m_absolutePath, status)) {
        error = "the output folder " + quoted + " is not a folder";
        return false;
    }
    // Permissions do not tell: the file system may be read-only, and root may write anywhere.
    std::string probe = m_absolutePath + "/.framegrab-XXXXXX";
    const int file = mkostemp(probe.data(), O_CLOEXEC);
    if (file < 0) {
        error = "the output folder " + quoted + " cannot be written: " + std::strerror(errno);
        return false;
    }
    close(file);
    unlink(probe.c_str());
    return true;
}

bool OutputFolder::PrepareNew(std::string& path, std::string& error)
{
    // Made by the call that tells whose it is: another framegrab may be started in the same second.
    const std::string name = path;
    for (int i = 2; mkdir(path.c_str(), 0777) != 0; ++i) {
        if (errno != EEXIST) {
            return Prepare(path, error); // which fails for the same reason, and says it
        }
        path = name + "-" + std::to_string(i);
    }
    m_isNew = true;
    return Prepare(path, error);
}

} // namespace Framegrab
