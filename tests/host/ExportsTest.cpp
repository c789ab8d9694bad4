#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
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
    const auto needed = Lines("readelf --dynamic --wide " UTIL_LIBRARY " | grep NEEDED");
    EXPECT_THAT(needed, testing::Contains(testing::HasSubstr("[libframegrab-host.so.1]")));
    EXPECT_THAT(needed, testing::Each(testing::Not(testing::ContainsRegex("lib(E?GL|OpenGL)"))));
}

} // namespace
