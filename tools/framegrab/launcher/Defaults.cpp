#include "launcher/Defaults.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sched.h>
#include <string>

namespace Framegrab {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t Unlimited = std::numeric_limits<std::uint64_t>::max();

/// @return the number that a file begins with; `Unlimited` where it has none ("max")
std::uint64_t NumberIn(const fs::path& path)
{
    std::uint64_t number = 0;
    std::ifstream file(path);
    return file >> number ? number : Unlimited;
}

/// @return bytes that a control group and those above it leave
std::uint64_t LeftIn(const fs::path& root, const fs::path& group, const char* limit, const char* usage)
{
    std::uint64_t left = Unlimited;
    for (fs::path path = root / group.relative_path();; path = path.parent_path()) {
        const std::uint64_t most = NumberIn(path / limit);
        const std::uint64_t used = NumberIn(path / usage);
        if (most != Unlimited && used != Unlimited) {
            left = std::min(left, most - std::min(used, most));
        }
        if (path == root || path == path.parent_path()) {
            return left;
        }
    }
}

/// @see cgroups(7): lines "0::/group" (version 2) and "4:memory:/group" (version 1)
std::uint64_t LeftInControlGroups()
{
    std::uint64_t left = Unlimited;
    std::ifstream file("/proc/self/cgroup");
    for (std::string line; std::getline(file, line);) {
        const std::size_t first = line.find(':');
        const std::size_t second = line.find(':', first + 1);
        if (first == std::string::npos || second == std::string::npos) {
            continue;
        }
        const std::string controllers = line.substr(first + 1, second - first - 1);
        const fs::path group = line.substr(second + 1);
        if (controllers.empty()) {
            left = std::min(left, LeftIn("/sys/fs/cgroup", group, "memory.max", "memory.current"));
        } else if (controllers == "memory") {
            left = std::min(left, LeftIn("/sys/fs/cgroup/memory", group, "memory.limit_in_bytes",
                                         "memory.usage_in_bytes"));
        }
    }
    return left;
}

/// @see proc(5): "MemAvailable:   12345 kB"
std::uint64_t LeftInSystem()
{
    std::ifstream file("/proc/meminfo");
    for (std::string name; file >> name;) {
        std::uint64_t kilobytes = 0;
        if (name == "MemAvailable:" && file >> kilobytes) {
            return kilobytes * 1024;
        }
        file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return Unlimited;
}

} // namespace

std::size_t AvailableMemory()
{
    return std::min(LeftInControlGroups(), LeftInSystem());
}

std::size_t DefaultPictureMemory()
{
    constexpr std::size_t Wanted = std::size_t{128} << 20U;
    return std::min(Wanted, AvailableMemory() / 2);
}

std::size_t DefaultThreads()
{
    cpu_set_t set;
    const int count = sched_getaffinity(0, sizeof(set), &set) == 0 ? CPU_COUNT(&set) : 1;
    return static_cast<std::size_t>(std::max(count - 1, 1));
}

} // namespace Framegrab
