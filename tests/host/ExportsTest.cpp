#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <set>
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

/// @return what a library exports, in C++ names with the strings' own for short
std::set<std::string> ExportedNames(const std::string& library)
{
    const std::regex strings(R"(std::__cxx11::basic_string<(w?)char(?:_t)?, [^>]*>, [^>]*> >)");
    const std::regex abiTag(R"(\[abi:cxx11\]|\n)");
    std::set<std::string> names;
    for (const std::string& line : Lines("nm --dynamic --defined-only --demangle " + library)) {
        const std::string name =
            std::regex_replace(line.substr(line.find(' ') + 3), strings, "std::$1string");
        names.insert(std::regex_replace(name, abiTag, ""));
    }
    return names;
}

// A line that comes or goes is a change of the interface; for one that goes, programs need another major
// version.
TEST(Exports, AreThoseOfTheLists)
{
    for (const std::string library : {"util", "host"}) {
        std::ifstream list(EXPORTS "/" + library + ".txt");
        std::set<std::string> expected;
        for (std::string name; std::getline(list, name);) {
            expected.insert(name);
        }
        const std::set<std::string> exported = ExportedNames(LIBRARIES "/libframegrab-" + library + ".so");
        std::vector<std::string> changes;
        std::set_symmetric_difference(exported.begin(), exported.end(), expected.begin(), expected.end(),
                                      std::back_inserter(changes));
        EXPECT_THAT(changes, testing::IsEmpty()) << "in one of exports/" << library << ".txt and the library";
    }
}

TEST(Exports, NoGLLibraryIsNeeded)
{
    const auto needed = Lines("readelf --dynamic --wide " LIBRARIES "/libframegrab-util.so | grep NEEDED");
    EXPECT_THAT(needed, testing::Contains(testing::HasSubstr("[libframegrab-host.so.1]")));
    EXPECT_THAT(needed, testing::Each(testing::Not(testing::ContainsRegex("lib(E?GL|OpenGL)"))));
}

} // namespace
