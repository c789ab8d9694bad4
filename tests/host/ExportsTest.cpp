#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <link.h>
#include <memory>
#include <regex>
#include <string>
#include <vector>

namespace {

/// @return the lines that a program prints
std::vector<std::string> Lines(const std::string& command)
{
    std::vector<std::string> lines;
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), &pclose);
    std::array<char, 4096> line{};
    while (output && std::fgets(line.data(), line.size(), output.get())) {
        lines.emplace_back(line.data());
    }
    return lines;
}

/// @return the names that the library's headers mark as exported
std::string MarkedNames()
{
    const std::regex marked(R"(class UTIL_EXPORT (\w+)|UTIL_EXPORT [^(;]*?(\w+)\()");
    std::string names;
    for (const auto& header : std::filesystem::directory_iterator(UTIL_HEADERS)) {
        const std::string text =
            header.path().extension() == ".h" ? TestSupport::ReadFile(header.path()) : "";
        for (std::sregex_iterator match(text.begin(), text.end(), marked), end; match != end; ++match) {
            names.append(names.empty() ? "" : "|").append((*match)[1]).append((*match)[2]);
        }
    }
    return names;
}

TEST(Exports, AreWhatTheHeadersMark)
{
    const std::regex marked("[0-9a-f]+ \\w ((typeinfo|typeinfo name|vtable) for )?Util::(\\w+::)*(" +
                            MarkedNames() + R"()\b.*\n)");
    const auto symbols = Lines("nm --dynamic --defined-only --demangle " UTIL_LIBRARY);
    EXPECT_GT(symbols.size(), 30U);
    for (const std::string& symbol : symbols) {
        EXPECT_TRUE(std::regex_match(symbol, marked)) << symbol;
    }
}

TEST(Exports, NoGLLibraryIsNeeded)
{
    void* const library = dlopen(UTIL_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    const link_map* map = nullptr;
    ASSERT_EQ(dlinfo(library, RTLD_DI_LINKMAP, &map), 0);
    const char* strings = nullptr;
    for (const auto* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_STRTAB) {
            strings = reinterpret_cast<const char*>(entry->d_un.d_ptr);
        }
    }
    ASSERT_NE(strings, nullptr);
    std::vector<std::string> needed;
    for (const auto* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_NEEDED) {
            needed.emplace_back(strings + entry->d_un.d_val);
        }
    }
    dlclose(library);
    EXPECT_THAT(needed, testing::Contains("libCore.so.1"));
    EXPECT_THAT(needed,
                testing::Each(testing::Not(testing::ContainsRegex("^lib(E?GL|GLES|OpenGL|GLX|GLdispatch)"))));
}

} // namespace
