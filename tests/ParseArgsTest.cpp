#include "Util/ParseArgs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Util::ParseArgs;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::Pair;

using Words = std::vector<std::string>;
using Values = std::map<std::string, std::string>;

CmdLineArgs Declared()
{
    CmdLineArgs args;
    args.m_flagOptions = {"-v", "-both"};
    args.m_valueOptions = {"-o", "-p", "-both"};
    return args;
}

TEST(ParseArgs, Lines)
{
    const struct
    {
        std::string line;
        Words arguments;
        Words flags;
        Values values;
        std::string error = "older"; ///< where it ends the parse, the option that is unknown
    } cases[] = {
        {"-v in.dat -o out.dat", {"in.dat"}, {"-v"}, {{"-o", "out.dat"}}},
        {" \t-v\r\n\v\f-v ", {}, {"-v", "-v"}, {}},

        // The value of an option.
        {"-o", {}, {}, {{"-o", ""}}},
        {"-o a -o=", {}, {}, {{"-o", "a"}}},
        {"-o -v x y", {"y"}, {"-v"}, {{"-o", "x"}}},
        {"-o= -p x", {}, {}, {{"-p", "x"}}},
        {"-both=x", {}, {}, {{"-both", "x"}}},

        // Equals signs.
        {"-o name=value", {}, {}, {{"-o", "value"}}},
        {"=x", {"=x"}, {}, {}},
        {"-o==x", {}, {}, {{"-o", "=x"}}},

        // Quotes.
        {"-o=\"-v=1\"", {}, {}, {{"-o", "-v=1"}}},
        {R"("" -o "")", {""}, {}, {{"-o", ""}}},
        {"a\"b c", {"a\"b", "c"}, {}, {}},
        {"\"a\"-v", {"a"}, {"-v"}, {}},
        {"\"a\"=b", {"a", "=b"}, {}, {}},
        {"-o \"a b", {}, {}, {{"-o", "a b"}}},
        {"\"-o", {}, {}, {{"-o", ""}}},
        {"x \"", {"x", ""}, {}, {}},

        // Bytes beyond ASCII, and NUL.
        {"\xE9\xFF \x85"s + "a\0b"s, {"\xE9\xFF", "\x85"s + "a\0b"s}, {}, {}},

        // Unknown options.
        {"a -v -V b", {"a"}, {"-v"}, {}, "-V"},
        {"-o -5", {}, {}, {{"-o", ""}}, "-5"},
        {"-o=-5", {}, {}, {}, "-5"},
        {"-v=1", {}, {"-v"}, {}, "-v"},
        {"-x=1", {}, {}, {}, "-x"},
        {"\"-x y", {}, {}, {}, "-x y"},
        {"-o\"a b\"", {}, {}, {}, "-o\"a"},
    };
    for (const auto& row : cases) {
        CmdLineArgs args = Declared();
        args.m_error = "older";
        EXPECT_EQ(ParseCmdLine(row.line, &args), row.error == "older") << row.line;
        EXPECT_EQ(args.m_arguments, row.arguments) << row.line;
        EXPECT_EQ(args.m_flags, row.flags) << row.line;
        EXPECT_EQ(args.m_values, row.values) << row.line;
        EXPECT_EQ(args.m_error, row.error) << row.line;
    }
}

TEST(ParseArgs, AddsToWhatIsThere)
{
    CmdLineArgs args = Declared();
    ASSERT_TRUE(ParseCmdLine("-v a -o x -p=", &args));
    ASSERT_TRUE(ParseCmdLine("b -v -p y", &args));
    EXPECT_THAT(args.m_arguments, ElementsAre("a", "b")) << "no option waits for its value across two lines";
    EXPECT_THAT(args.m_flags, ElementsAre("-v", "-v"));
    EXPECT_THAT(args.m_values, ElementsAre(Pair("-o", "x"), Pair("-p", "y")));
    EXPECT_FALSE(ParseCmdLine("", nullptr));
}

TEST(ParseArgs, LineMayBeOneOfTheResults)
{
    const std::string line = R"("a long value that needs memory of its own" -o "another such value" b c)";
    CmdLineArgs args = Declared();
    args.m_arguments = {line};
    args.m_arguments.shrink_to_fit();
    EXPECT_TRUE(ParseCmdLine(args.m_arguments[0], &args));
    args.m_values["-o"] = line;
    EXPECT_TRUE(ParseCmdLine(args.m_values["-o"], &args));
    const std::string value = "a long value that needs memory of its own";
    EXPECT_THAT(args.m_arguments, ElementsAre(line, value, "b", "c", value, "b", "c"));
    EXPECT_THAT(args.m_values, ElementsAre(Pair("-o", "another such value")));
}

} // namespace
