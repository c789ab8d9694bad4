#include "launcher/OutputFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Framegrab {

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
        std::filesystem::create_directories(m_absolutePath, status);
        if (status) {
            error = "the output folder " + quoted + " cannot be made: " + status.message();
            return false;
        }
        m_isNew = true;
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

bool IsMissingOrMarked(const std::string& path, std::string_view mark)
{
    std::error_code ignored;
    if (std::filesystem::exists(path, ignored) && !std::filesystem::is_regular_file(path, ignored)) {
        return false; // opening a pipe would wait for somebody at its other end
    }
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) {
        return errno == ENOENT;
    }
    std::string start(1024, '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    return start.find(mark) != std::string::npos;
}

} // namespace Framegrab
