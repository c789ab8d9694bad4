#include "Util/NoThrow.h"
#include "Util/Path.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Util::Path {

namespace {

/// Runs a call that closes something, whose failure must not hide why a deletion failed.
template <typename Close>
void KeepErrno(Close&& close)
{
    const int error = errno;
    close();
    errno = error;
}

class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (IsOpen()) {
            KeepErrno([this] { close(m_number); });
        }
    }

    [[nodiscard]] bool IsOpen() const { return m_number >= 0; }
    [[nodiscard]] int Get() const { return m_number; }
    void Release() { m_number = -1; }

private:
    int m_number;
};

struct CloseStream
{
    void operator()(DIR* stream) const
    {
        KeepErrno([stream] { closedir(stream); });
    }
};
using Stream = std::unique_ptr<DIR, CloseStream>;

/// A folder that the deletion is in: the one that is to go, or one below it.
struct Folder
{
    std::string name; ///< in the folder above
    dev_t device = 0;
    ino_t inode = 0;
    Stream stream; ///< null while closed for want of descriptors

    [[nodiscard]] int Number() const { return dirfd(stream.get()); }
};

/// Removes a tree without recursion, so that depth costs no stack, and with few descriptors: folders far
/// above the current one are closed, and found again through "..".
///
/// Each step names an entry of an open folder and follows no link. Whatever becomes of the paths meanwhile,
/// no step leads out of the tree.
class Deletion
{
public:
    /// @param parent  open folder that holds the one to be removed
    explicit Deletion(int parent) : m_parent(parent) {}

    /// @return whether the folder is gone; if not, `errno` tells of the call that failed
    bool Run(const char* name)
    {
        if (!RemoveOrEnter(m_parent, name)) {
            return false;
        }
        while (!m_folders.empty()) {
            errno = 0;
            const dirent* const entry = readdir(m_folders.back().stream.get());
            const bool done = entry ? RemoveEntry(entry->d_name) : errno == 0 && RemoveCurrent();
            if (!done) {
                return false;
            }
        }
        return true;
    }

private:
    static constexpr std::size_t MaxOpen = 16;

    bool RemoveEntry(const char* name)
    {
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
            return true;
        }
        const int folder = m_folders.back().Number();
        return unlinkat(folder, name, 0) == 0 || (errno == EISDIR && RemoveOrEnter(folder, name));
    }

    /// Removes a folder where it is empty, makes it the current one where it is not. A folder that cannot be
    /// removed for another reason, such as a mount point, is found out here, while it still has its contents.
    bool RemoveOrEnter(int parent, const char* name)
    {
        if (unlinkat(parent, name, AT_REMOVEDIR) == 0) {
            return true;
        }
        if (errno != ENOTEMPTY && errno != EEXIST) {
            return false;
        }
        Folder folder;
        folder.name = name;
        if (!Open(parent, name, folder)) {
            return false;
        }
        m_folders.push_back(std::move(folder));
        if (m_folders.size() - m_closed > MaxOpen) {
            CloseFarthest();
        }
        return true;
    }

    /// Removes the current folder, empty by now, and goes on with the one above.
    bool RemoveCurrent()
    {
        const Folder current = std::move(m_folders.back());
        m_folders.pop_back();
        if (!m_folders.empty() && !m_folders.back().stream && !Reopen(m_folders.back(), current.Number())) {
            return false;
        }
        const int above = m_folders.empty() ? m_parent : m_folders.back().Number();
        return unlinkat(above, current.name.c_str(), AT_REMOVEDIR) == 0;
    }

    bool Reopen(Folder& folder, int below)
    {
        Folder found;
        if (!Open(below, "..", found)) {
            return false;
        }
        if (found.device != folder.device || found.inode != folder.inode) {
            errno = ESTALE;
            return false;
        }
        folder.stream = std::move(found.stream);
        --m_closed;
        return true;
    }

    bool Open(int parent, const char* name, Folder& folder)
    {
        int number = -1;
        do {
            number = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        } while (number < 0 && (errno == EMFILE || errno == ENFILE) && CloseFarthest());

        Descriptor descriptor(number);
        struct stat status = {};
        if (!descriptor.IsOpen() || fstat(descriptor.Get(), &status) != 0) {
            return false;
        }
        folder.device = status.st_dev;
        folder.inode = status.st_ino;
        folder.stream.reset(fdopendir(descriptor.Get()));
        if (!folder.stream) {
            return false;
        }
        descriptor.Release();
        return true;
    }

    /// Closes the open folder farthest above the current one.
    ///
    /// @return false where the current one alone is open
    bool CloseFarthest()
    {
        if (m_closed + 1 >= m_folders.size()) {
            return false;
        }
        m_folders[m_closed++].stream.reset();
        return true;
    }

    int m_parent;
    std::vector<Folder> m_folders; ///< each in the one before it; the last is the current one
    std::size_t m_closed = 0;      ///< how many of them, from the first on, are closed
};

bool Delete(const std::string& path)
{
    if (path.find('\0') != std::string::npos) {
        errno = EINVAL;
        return false;
    }
    const std::size_t last = path.find_last_not_of('/');
    if (last == std::string::npos) {
        return rmdir(path.c_str()) == 0; // Nothing or the root: refused, each with an errno of its own.
    }
    // Without the separators at the end, which would make the kernel follow a link.
    const std::string folder = path.substr(0, last + 1);
    const std::size_t nameStart = folder.rfind('/') + 1;
    const std::string name = folder.substr(nameStart);
    if (name == "..") {
        errno = ENOTEMPTY;
        return false;
    }
    const std::string parentPath = nameStart == 0 ? "." : folder.substr(0, nameStart);
    const Descriptor parent(open(parentPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return parent.IsOpen() && Deletion(parent.Get()).Run(name.c_str());
}

} // namespace

bool DeleteFolder(const std::string& path)
{
    return NoThrow([&] { return Delete(path); });
}

} // namespace Util::Path
