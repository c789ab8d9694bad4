#include "Util/Path.h"

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

/// What a test does in the place of another process, right after an entry is removed or found to have
/// contents.
std::function<void(const std::string& name)> s_afterUnlinkat;

} // namespace

// In the place of the C library's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): its names are reserved
int unlinkat(int folder, const char* name, int flags) noexcept
{
    const auto result = static_cast<int>(syscall(SYS_unlinkat, folder, name, flags));
    const int error = errno;
    if (s_afterUnlinkat && (result == 0 || error == ENOTEMPTY)) {
        s_afterUnlinkat(name);
    }
    errno = error;
    return result;
}

namespace {

namespace fs = std::filesystem;
using namespace Util::Path;
using namespace std::string_literals;

void Touch(const fs::path& path)
{
    std::ofstream(path) << "x";
}

/// Tests in a new empty folder, the current one.
class PathTest : public testing::Test
{
protected:
    PathTest() { fs::current_path(m_folder.Path()); }
    ~PathTest() override { fs::current_path(m_previous); }

private:
    const fs::path m_previous = fs::current_path();
    // Making thousands of folders takes seconds on a disk.
    const TestSupport::TemporaryFolder m_folder{fs::exists("/dev/shm") ? "/dev/shm"
                                                                       : fs::temp_directory_path()};
};

/// @return what `check` returns in a process of its own, without the rights of the superuser, to whom no
///         folder
/// is closed
bool AsOrdinaryUser(const std::function<bool()>& check)
{
    fs::permissions(".", fs::perms::all);
    constexpr uid_t Nobody = 65534;
    const pid_t child = fork();
    if (child == 0) {
        umask(0);
        const bool isOrdinary = getuid() != 0 || setuid(Nobody) == 0;
        _exit(isOrdinary && check() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

TEST(Path, Parts)
{
    const std::vector<std::string> cases[] = {
        // Path, directory, filename, extension, path without extension, file part.
        {"dir\\sub/file.txt", "dir\\sub", "file.txt", ".txt", "dir\\sub/file", "file"},
        {"dir/sub\\file.tar.gz", "dir/sub", "file.tar.gz", ".gz", "dir/sub\\file.tar", "file.tar"},
        {"/file", "", "file", "/file", "/file", "file"},
        {"dir.d/file", "dir.d", "file", ".d/file", "dir", "file"},
        {"dir/.profile", "dir", ".profile", ".profile", "dir/", ""},
        {"", "", "", "", "", ""},
    };
    for (const auto& row : cases) {
        const std::string& path = row[0];
        EXPECT_EQ((std::vector{path, GetDirectory(path), GetFilename(path), GetExtension(path),
                               RemoveExtension(path), GetFilePart(path)}),
                  row);
    }
}

TEST_F(PathTest, Access)
{
    Touch("file");
    fs::create_symlink("nowhere", "broken");
    for (const char* name : {"missing", "broken", "file/x", ""}) {
        EXPECT_FALSE(Exists(name) || IsReadable(name) || IsWritable(name)) << name;
    }
    for (const mode_t mode : {0000U, 0444U, 0222U, 0666U}) {
        chmod("file", mode);
        EXPECT_TRUE(AsOrdinaryUser([mode] {
            return Exists("file") && IsReadable("file") == ((mode & 0444U) != 0) &&
                   IsWritable("file") == ((mode & 0222U) != 0);
        })) << mode;
    }
}

TEST_F(PathTest, CreateFolderMakesEveryPart)
{
    const mode_t umaskBefore = umask(0022);
    for (const char* path : {"a/b/c/", "two//slashes", "back\\slash", "./dot/../sibling"}) {
        EXPECT_TRUE(CreateFolder(path)) << path;
        EXPECT_TRUE(CreateFolder(path)) << path << " again";
    }
    for (const char* folder :
         {"a", "a/b", "a/b/c", "two", "two/slashes", "back", "back\\slash", "dot", "sibling"}) {
        struct stat status = {};
        EXPECT_EQ(stat(folder, &status), 0) << folder;
        EXPECT_EQ(status.st_mode, S_IFDIR | 0705U) << folder;
    }
    umask(umaskBefore);
}

TEST_F(PathTest, DeleteFolderRemovesEverythingButWhatLinksPointTo)
{
    for (const std::string& path : {"top"s, "top///"s, fs::absolute("top").string()}) {
        fs::create_directories("outside/kept");
        fs::create_directories("top/sub/.hidden/deeper");
        fs::create_directories("top/...");
        Touch("outside/file");
        Touch("top/sub/.hidden/back\\slash");
        ASSERT_EQ(mkfifo("top/fifo", 0600), 0);
        fs::create_directory_symlink("../../outside", "top/sub/folder");
        fs::create_directory_symlink("..", "top/above");
        fs::create_symlink("../outside/file", "top/file");
        fs::create_symlink("nowhere", "top/broken");
        EXPECT_TRUE(DeleteFolder(path)) << path;
        EXPECT_FALSE(fs::exists("top")) << path;
        EXPECT_TRUE(fs::exists("outside/file") && fs::exists("outside/kept")) << path;
    }
}

TEST_F(PathTest, RefusalsTellWhy)
{
    fs::create_directories("outside/kept");
    fs::create_directory("empty");
    fs::create_directory_symlink("outside", "link");
    fs::create_directory_symlink("empty", "emptyLink");
    Touch("file");
    const std::string longest = "x" + std::string(4094, '/');
    const struct
    {
        bool (*function)(const std::string& path);
        std::string path;
        int error;
    } cases[] = {
        {&CreateFolder, "", ENOENT},
        {&CreateFolder, fs::absolute("absolute"), ENOENT},
        {&CreateFolder, "made/../file/x", ENOTDIR},
        {&CreateFolder, std::string(256, 'x'), ENAMETOOLONG},
        {&CreateFolder, longest + "/", ENAMETOOLONG},
        {&CreateFolder, "nul\0/x"s, EINVAL},
        {&DeleteFolder, "", ENOENT},
        {&DeleteFolder, "missing/x", ENOENT},
        {&DeleteFolder, "file", ENOTDIR},
        {&DeleteFolder, "link/", ENOTDIR},
        {&DeleteFolder, "emptyLink", ENOTDIR},
        {&DeleteFolder, "link/.", EINVAL},
        {&DeleteFolder, ".", EINVAL},
        {&DeleteFolder, "outside/kept/..", ENOTEMPTY},
        {&DeleteFolder, "../", ENOTEMPTY},
        {&DeleteFolder, "empty\0"s, EINVAL},
    };
    for (const auto& [function, path, error] : cases) {
        errno = 0;
        EXPECT_FALSE(function(path)) << path;
        EXPECT_EQ(errno, error) << path;
    }
    EXPECT_TRUE(Exists("made")) << "a folder made before the failure stays";
    EXPECT_FALSE(Exists("absolute") || Exists("x") || Exists("nul"));
    EXPECT_TRUE(CreateFolder(longest));
    EXPECT_TRUE(fs::exists("outside/kept") && fs::exists("empty") && fs::exists("file"));
    EXPECT_TRUE(fs::is_symlink("link") && fs::is_symlink("emptyLink"));
}

TEST_F(PathTest, DeleteFolderStopsAtWhatIsClosed)
{
    for (const mode_t closed : {0000U, 0500U}) {
        EXPECT_TRUE(AsOrdinaryUser([closed] {
            fs::create_directories("top/closed/x");
            chmod("top/closed", closed);
            const bool isRefused = !DeleteFolder("top") && errno == EACCES;
            chmod("top/closed", 0777);
            const bool isKept = fs::remove("top/closed/x");
            chmod("top/closed", closed);
            return isRefused && isKept && DeleteFolder("top"); // an empty folder need not be read
        })) << closed;
    }
}

/// Lets this process open no more than `count` further files.
void LimitDescriptors(rlim_t count)
{
    const int next = dup(0);
    close(next);
    const rlim_t limit = static_cast<rlim_t>(next) + count;
    const rlimit few{limit, limit};
    setrlimit(RLIMIT_NOFILE, &few);
}

/// Makes folders in one another, too deep for a path.
bool MakeChain(const fs::path& top, int depth)
{
    const fs::path previous = fs::current_path();
    fs::create_directories(top);
    fs::current_path(top);
    int level = 0;
    for (; level < depth && mkdir("d", 0700) == 0 && chdir("d") == 0; ++level) {
        Touch("file");
    }
    fs::current_path(previous);
    return level == depth;
}

TEST_F(PathTest, DeleteFolderGoesDeepWithFewDescriptors)
{
    const std::pair<rlim_t, int> cases[] = {{2, 0}, {3, 2100}, {10, 40}, {100, 40}};
    for (const auto& [descriptors, depth] : cases) {
        EXPECT_TRUE(AsOrdinaryUser([descriptors = descriptors, depth = depth] {
            // Not a mere chain: folders closed on the way down must have more to delete on the way up.
            const bool isMade = MakeChain("top/d/other/x/y/z", depth) && MakeChain("top/other/x", depth);
            LimitDescriptors(descriptors);
            const bool isGone = DeleteFolder("top") && !fs::exists("top");
            return isMade && (descriptors > 2 ? isGone : !isGone && errno == EMFILE);
        })) << descriptors;
    }
}

TEST_F(PathTest, DeleteFolderTakesDescriptor0ForAnyOther)
{
    EXPECT_TRUE(AsOrdinaryUser([] {
        fs::create_directories("top/a/b");
        Touch("top/a/file");
        close(0);
        return DeleteFolder("top") && !fs::exists("top") && dup(1) == 0;
    }));
}

TEST_F(PathTest, DeleteFolderIsNotLedOutsideByChanges)
{
    for (const auto& [removed, error] : {std::pair("b", ENOTDIR), std::pair("file", ESTALE)}) {
        EXPECT_TRUE(AsOrdinaryUser([removed = removed, error = error] {
            fs::remove_all("outside");
            fs::create_directories("outside/kept");
            fs::create_directories("top/a/b/c");
            Touch("top/a/b/c/file");
            s_afterUnlinkat = [removed](const std::string& name) {
                if (name == removed) {
                    fs::rename("top/a/b", "outside/b");
                    fs::create_directory_symlink("../../outside", "top/a/b");
                }
            };
            LimitDescriptors(3);
            const bool isRefused = !DeleteFolder("top") && errno == error;
            s_afterUnlinkat = nullptr;
            return isRefused && fs::exists("outside/kept") && fs::exists("outside/b") &&
                   fs::remove_all("top");
        })) << removed;
    }
}

} // namespace
