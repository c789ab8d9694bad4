#include "Util/Path.h"

#include "Util/NoThrow.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace Util::Path {

namespace {

constexpr const char* Separators = "\\/";
constexpr std::size_t MaxPath = 4096; // with its terminator
constexpr mode_t FolderMode = 0707;

} // namespace

bool Exists(const std::string& path)
{
    return access(path.c_str(), F_OK) == 0;
}

bool IsWritable(const std::string& path)
{
    return access(path.c_str(), W_OK) == 0;
}

bool IsReadable(const std::string& path)
{
    return access(path.c_str(), R_OK) == 0;
}

bool CreateFolder(const std::string& path)
{
    if (path.find('\0') != std::string::npos) {
        errno = EINVAL;
        return false;
    }
    if (path.size() >= MaxPath) {
        errno = ENAMETOOLONG;
        return false;
    }
    char part[MaxPath];
    std::memcpy(part, path.c_str(), path.size() + 1);

    for (char* end = part;; ++end) {
        end += std::strcspn(end, Separators);
        const char separator = *end;
        *end = '\0';
        if (mkdir(part, FolderMode) != 0 && errno != EEXIST) {
            return false;
        }
        if (separator == '\0') {
            return true;
        }
        *end = separator;
    }
}

std::string GetDirectory(const std::string& path)
{
    const std::size_t separator = path.find_last_of(Separators);
    return NoThrow([&] { return separator == std::string::npos ? "" : path.substr(0, separator); });
}

std::string GetFilename(const std::string& path)
{
    // Without a separator npos + 1 is 0, where the file name begins then.
    return NoThrow([&] { return path.substr(path.find_last_of(Separators) + 1); });
}

std::string GetExtension(const std::string& path)
{
    const std::size_t dot = path.rfind('.');
    return NoThrow([&] { return dot == std::string::npos ? path : path.substr(dot); });
}

std::string RemoveExtension(const std::string& path)
{
    return NoThrow([&] { return path.substr(0, path.rfind('.')); });
}

std::string GetFilePart(const std::string& path)
{
    return RemoveExtension(GetFilename(path));
}

} // namespace Util::Path
