#include "Util/Path.h"

#include "support/FailingAllocation.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

/// What a test does right after each `unlinkat`, in the place of another process.
std::function<void(const std::string& name, int error)> s_afterUnlinkat;

} // namespace

// In the place of the C library's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): its names are reserved
int unlinkat(int folder, const char* name, int flags) noexcept
{
    const auto result = static_cast<int>(syscall(SYS_unlinkat, folder, name, flags));
    if (s_afterUnlinkat) {
        const int error = errno;
        s_afterUnlinkat(name, result == 0 ? 0 : error);
        errno = error;
    }
    return result;
}

namespace {

namespace fs = std::filesystem;
using namespace Util::Path;
using namespace std::string_literals;
using TestSupport::TemporaryFolder;

void Touch(const fs::path& path)
{
    std::ofstream(path) << "x";
}

/// Makes a new empty folder the current one.
class CurrentFolder
{
public:
    explicit CurrentFolder(const fs::path& parent = fs::temp_directory_path()) : m_folder(parent)
    {
        fs::current_path(m_folder.Path());
    }
    CurrentFolder(const CurrentFolder&) = delete;
    CurrentFolder& operator=(const CurrentFolder&) = delete;
    ~CurrentFolder() { fs::current_path(m_previous); }

private:
    fs::path m_previous = fs::current_path();
    TemporaryFolder m_folder;
};

/// @return what `check` returns in a process without the rights of the superuser, to whom no folder is closed
bool AsOrdinaryUser(const std::function<bool()>& check)
{
    constexpr uid_t Nobody = 65534;
    const pid_t child = fork();
    if (child == 0) {
        const bool isOrdinary = getuid() != 0 || setuid(Nobody) == 0;
        _exit(isOrdinary && check() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

TEST(Path, Parts)
{
    const struct
    {
        const char* path;
        const char* directory;
        const char* filename;
        const char* extension;
        const char* withoutExtension;
        const char* filePart;
    } cases[] = {
        {"dir\\sub/file.txt", "dir\\sub", "file.txt", ".txt", "dir\\sub/file", "file"},
        {"dir/sub\\file.txt", "dir/sub", "file.txt", ".txt", "dir/sub\\file", "file"},
        {"file.txt", "", "file.txt", ".txt", "file", "file"},
        {"/file", "", "file", "/file", "/file", "file"},
        {"dir/", "dir", "", "dir/", "dir/", ""},
        {"dir/file.tar.gz", "dir", "file.tar.gz", ".gz", "dir/file.tar", "file.tar"},
        {"README", "", "README", "README", "README", "README"},
        {"dir.d/file", "dir.d", "file", ".d/file", "dir", "file"},
        {"dir/.profile", "dir", ".profile", ".profile", "dir/", ""},
        {"", "", "", "", "", ""},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(GetDirectory(row.path), row.directory) << row.path;
        EXPECT_EQ(GetFilename(row.path), row.filename) << row.path;
        EXPECT_EQ(GetExtension(row.path), row.extension) << row.path;
        EXPECT_EQ(RemoveExtension(row.path), row.withoutExtension) << row.path;
        EXPECT_EQ(GetFilePart(row.path), row.filePart) << row.path;
    }
}

TEST(Path, AccessTests)
{
    const CurrentFolder current;
    Touch("file");
    fs::create_symlink("nowhere", "broken");
    fs::permissions(".", fs::perms::all);
    EXPECT_TRUE(Exists("file") && IsReadable("file") && IsWritable("file"));
    EXPECT_TRUE(Exists(".") && IsReadable(".") && IsWritable("."));
    for (const char* name : {"missing", "broken", "file/x", ""}) {
        EXPECT_FALSE(Exists(name) || IsReadable(name) || IsWritable(name)) << name;
    }
    constexpr auto Readable = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
    constexpr auto Writable = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    const struct
    {
        fs::perms permissions;
        bool isReadable;
        bool isWritable;
    } cases[] = {
        {fs::perms::none, false, false},
        {Readable, true, false},
        {Writable, false, true},
    };
    for (const auto& [permissions, isReadable, isWritable] : cases) {
        fs::permissions("file", permissions);
        EXPECT_TRUE(AsOrdinaryUser([] { return Exists("file"); }));
        EXPECT_EQ(AsOrdinaryUser([] { return IsReadable("file"); }), isReadable);
        EXPECT_EQ(AsOrdinaryUser([] { return IsWritable("file"); }), isWritable);
    }
}

TEST(Path, CreateFolderMakesEveryPart)
{
    const struct
    {
        const char* path;
        std::vector<const char*> folders;
    } cases[] = {
        {"a/b/c", {"a", "a/b", "a/b/c"}},         {"slash/", {"slash"}},
        {"two//slashes", {"two", "two/slashes"}}, {"back\\slash", {"back", "back\\slash"}},
        {"./dot/../sibling", {"dot", "sibling"}},
    };
    const CurrentFolder current;
    const mode_t umaskBefore = umask(0022);
    for (const auto& [path, folders] : cases) {
        EXPECT_TRUE(CreateFolder(path)) << path;
        EXPECT_TRUE(CreateFolder(path)) << path << " again";
        for (const char* folder : folders) {
            struct stat status = {};
            EXPECT_EQ(stat(folder, &status), 0) << folder;
            EXPECT_EQ(status.st_mode, S_IFDIR | 0705U) << folder;
        }
    }
    umask(umaskBefore);
}

TEST(Path, CreateFolderTellsWhyNot)
{
    const CurrentFolder current;
    Touch("file");
    std::string longest(4095, '/');
    longest.replace(0, 1, "x");
    const struct
    {
        const char* name;
        std::string path;
        int error;
    } cases[] = {
        {"empty", "", ENOENT},
        {"absolute", fs::current_path() / "absolute", ENOENT},
        {"below a file", "made/../file/x", ENOTDIR},
        {"name too long", std::string(256, 'x'), ENAMETOOLONG},
        {"path of 4096 bytes", longest + "/", ENAMETOOLONG},
        {"NUL", "nul\0/x"s, EINVAL},
    };
    for (const auto& [name, path, error] : cases) {
        errno = 0;
        EXPECT_FALSE(CreateFolder(path)) << name;
        EXPECT_EQ(errno, error) << name;
    }
    EXPECT_TRUE(Exists("made")) << "a folder made before the failure stays";
    EXPECT_FALSE(Exists("absolute") || Exists("x") || Exists("nul"));
    EXPECT_TRUE(CreateFolder(longest));
}

TEST(Path, DeleteFolderRemovesEverything)
{
    for (const char* suffix : {"", "/", "///"}) {
        const CurrentFolder current;
        fs::create_directories("top/sub/.hidden/deeper");
        fs::create_directories("top/...");
        Touch("top/.file");
        Touch("top/sub/.hidden/file");
        Touch("top/sub/back\\slash");
        ASSERT_EQ(mkfifo("top/fifo", 0600), 0);
        EXPECT_TRUE(DeleteFolder("top"s + suffix)) << suffix;
        EXPECT_FALSE(fs::exists("top")) << suffix;

        fs::create_directory("top");
        EXPECT_TRUE(DeleteFolder(fs::current_path() / ("top"s + suffix))) << suffix;
    }
}

TEST(Path, DeleteFolderLeavesWhatLinksPointTo)
{
    const CurrentFolder current;
    fs::create_directories("outside/kept");
    Touch("outside/file");
    fs::create_directories("top/sub");
    fs::create_directory_symlink("../../outside", "top/sub/folder");
    fs::create_symlink("../outside/file", "top/file");
    fs::create_symlink("nowhere", "top/broken");
    fs::create_directory_symlink("..", "top/above");
    EXPECT_TRUE(DeleteFolder("top"));
    EXPECT_FALSE(fs::exists("top"));
    EXPECT_TRUE(fs::exists("outside/file") && fs::exists("outside/kept"));
}

TEST(Path, DeleteFolderRefuses)
{
    const CurrentFolder current;
    fs::create_directories("outside/kept");
    fs::create_directory("empty");
    fs::create_directory_symlink("outside", "link");
    fs::create_directory_symlink("empty", "emptyLink");
    Touch("file");
    const struct
    {
        std::string path;
        int error;
    } cases[] = {
        {"", ENOENT},
        {"missing", ENOENT},
        {"missing/x", ENOENT},
        {"file", ENOTDIR},
        {"file/", ENOTDIR},
        {"link", ENOTDIR},
        {"link/", ENOTDIR},
        {"link/.", EINVAL},
        {"outside/kept/..", ENOTEMPTY},
        {"outside/.", EINVAL},
        {".", EINVAL},
        {"..", ENOTEMPTY},
        {"../", ENOTEMPTY},
        {"emptyLink", ENOTDIR},
        {"outside\0"s, EINVAL},
        {std::string(5000, 'x'), ENAMETOOLONG},
    };
    for (const auto& [path, error] : cases) {
        errno = 0;
        EXPECT_FALSE(DeleteFolder(path)) << path;
        EXPECT_EQ(errno, error) << path;
    }
    EXPECT_TRUE(fs::exists("outside/kept") && fs::exists("empty") && fs::exists("file"));
    EXPECT_TRUE(fs::is_symlink("link") && fs::is_symlink("emptyLink"));
}

TEST(Path, DeleteFolderStopsAtWhatIsClosed)
{
    const CurrentFolder current;
    fs::permissions(".", fs::perms::all);
    EXPECT_TRUE(AsOrdinaryUser([] {
        umask(0);
        fs::create_directories("top/unreadable/x");
        fs::permissions("top/unreadable", fs::perms::none);
        const bool isRefused = !DeleteFolder("top") && errno == EACCES;
        fs::permissions("top/unreadable", fs::perms::all);
        return isRefused && fs::exists("top/unreadable/x");
    }));
    EXPECT_TRUE(AsOrdinaryUser([] {
        fs::create_directories("top/unwritable/x");
        fs::permissions("top/unwritable", fs::perms::owner_read | fs::perms::owner_exec);
        const bool isRefused = !DeleteFolder("top") && errno == EACCES;
        fs::permissions("top/unwritable", fs::perms::all);
        return isRefused && fs::exists("top/unwritable/x");
    }));
    EXPECT_TRUE(AsOrdinaryUser([] {
        fs::remove_all("top");
        fs::create_directories("top/unreadable");
        fs::permissions("top/unreadable", fs::perms::none);
        return DeleteFolder("top");
    })) << "an empty folder need not be read";
}

/// Lets this process open no more than `count` further files, as long as it is in scope.
class FewDescriptors
{
public:
    explicit FewDescriptors(rlim_t count)
    {
        getrlimit(RLIMIT_NOFILE, &m_previous);
        const int next = dup(0);
        close(next);
        const rlimit few{static_cast<rlim_t>(next) + count, m_previous.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &m_previous); }

private:
    rlimit m_previous{};
};

class AfterUnlinkat
{
public:
    explicit AfterUnlinkat(decltype(s_afterUnlinkat) action) { s_afterUnlinkat = std::move(action); }
    AfterUnlinkat(const AfterUnlinkat&) = delete;
    AfterUnlinkat& operator=(const AfterUnlinkat&) = delete;
    ~AfterUnlinkat() { s_afterUnlinkat = nullptr; }
};

/// Makes folders in one another, below an existing one; too deep for a path.
void MakeChain(const char* top, int depth)
{
    int folder = open(top, O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < depth; ++level) {
        ASSERT_EQ(mkdirat(folder, "d", 0700), 0);
        close(openat(folder, "file", O_CREAT | O_WRONLY, 0600));
        const int below = openat(folder, "d", O_RDONLY | O_DIRECTORY);
        ASSERT_GE(below, 0);
        close(folder);
        folder = below;
    }
    close(folder);
}

TEST(Path, DeleteFolderGoesDeepWithFewDescriptors)
{
    const struct
    {
        rlim_t descriptors;
        int depth;
    } cases[] = {{3, 5100}, {3, 2}, {10, 40}, {100, 40}};
    // Making so many folders takes seconds on a disk.
    const fs::path parent = fs::exists("/dev/shm") ? "/dev/shm" : fs::temp_directory_path();
    for (const auto& [descriptors, depth] : cases) {
        const CurrentFolder current(parent);
        // Not a mere chain: the folders that are closed on the way down must have more to delete on the way
        // up.
        fs::create_directories("top/d/other/x/y/z");
        fs::create_directories("top/other/x");
        ASSERT_NO_FATAL_FAILURE(MakeChain("top/d/other/x/y/z", depth));
        ASSERT_NO_FATAL_FAILURE(MakeChain("top/other/x", 40));
        const FewDescriptors few(descriptors);
        EXPECT_TRUE(DeleteFolder("top")) << descriptors << " descriptors, errno " << errno;
        EXPECT_FALSE(fs::exists("top"));
    }
}

TEST(Path, DeleteFolderFailsWithoutDescriptors)
{
    const CurrentFolder current;
    fs::create_directories("top/x/y");
    const FewDescriptors few(2);
    EXPECT_FALSE(DeleteFolder("top"));
    EXPECT_EQ(errno, EMFILE);
}

TEST(Path, DeleteFolderIsNotLedOutsideByAFolderThatBecomesALink)
{
    const CurrentFolder current;
    fs::create_directories("outside/kept");
    fs::create_directories("top/sub/x");
    const AfterUnlinkat swap([](const std::string& name, int error) {
        if (name == "sub" && error == ENOTEMPTY) {
            fs::rename("top/sub", "moved");
            fs::create_directory_symlink("../outside", "top/sub");
        }
    });
    EXPECT_FALSE(DeleteFolder("top"));
    EXPECT_TRUE(fs::exists("outside/kept") && fs::exists("moved/x"));
}

TEST(Path, DeleteFolderIsNotLedOutsideByAFolderThatIsMoved)
{
    const CurrentFolder current;
    fs::create_directories("outside/kept");
    fs::create_directories("top/a/b/c");
    Touch("top/a/b/c/file");
    const AfterUnlinkat move([](const std::string& name, int) {
        if (name == "file") {
            fs::rename("top/a/b", "outside/b");
        }
    });
    const FewDescriptors few(3);
    EXPECT_FALSE(DeleteFolder("top"));
    EXPECT_EQ(errno, ESTALE);
    EXPECT_TRUE(fs::exists("outside/kept") && fs::exists("outside/b") && fs::exists("top/a"));
}

TEST(Path, NothingIsThrownWithoutMemory)
{
    const CurrentFolder current;
    const std::string longName = "a name longer than what a string holds in itself";
    const std::string directories = longName + "/" + longName;
    const std::string file = directories + "/" + longName + "." + longName;
    fs::create_directories(directories);
    const struct
    {
        const char* name;
        std::function<bool()> isRefused;
    } cases[] = {
        {"GetDirectory", [&] { return GetDirectory(file).empty(); }},
        {"GetFilename", [&] { return GetFilename(file).empty(); }},
        {"GetExtension", [&] { return GetExtension(file).empty(); }},
        {"RemoveExtension", [&] { return RemoveExtension(file).empty(); }},
        {"GetFilePart", [&] { return GetFilePart(file).empty(); }},
        {"DeleteFolder", [&] { return !DeleteFolder(longName); }},
    };
    for (const auto& [name, isRefused] : cases) {
        bool hasFailed = true;
        for (std::size_t index = 0; hasFailed; ++index) {
            const TestSupport::FailingNew failing(index);
            const bool refused = isRefused();
            hasFailed = failing.HasFailed();
            EXPECT_EQ(refused, hasFailed) << name << ", allocation " << index;
        }
    }
    EXPECT_FALSE(fs::exists(longName));
}

} // namespace
