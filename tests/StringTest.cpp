#include "Util/String.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace Util::String;
using namespace std::string_literals;

TEST(String, WideCharactersAreBytesWithoutSign)
{
    EXPECT_EQ(ToWString("a\0\xE9"s), L"a\0\u00E9"s);
    EXPECT_EQ(FromWString(L"a\0\u01E9"s), "a\0\xE9"s);
}

TEST(String, ToInt)
{
    const std::pair<std::string, int> cases[] = {{"0X1f", 31},
                                                 {"017", 15},
                                                 {"08", 0},
                                                 {"", 0},
                                                 {"2147483648", std::numeric_limits<int>::min()},
                                                 {"99999999999999999999", -1},
                                                 {"-99999999999999999999", 0},
                                                 {"1\0002"s, 1}};
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(ToInt(text), value) << '"' << text << '"';
    }
}

TEST(String, FromInt)
{
    EXPECT_EQ(FromInt(255, 16), "0xff");
    EXPECT_EQ(FromInt(0, 8), "00");
    EXPECT_EQ(FromInt(-1, 16), "0xffffffff");
    EXPECT_EQ(FromInt(std::numeric_limits<int>::min(), 10), "-2147483648");
    EXPECT_EQ(FromInt64(std::numeric_limits<long>::min(), 10), "-9223372036854775808");
    EXPECT_EQ(FromInt64(42, 0x80000010), "");
}

TEST(String, FromDouble)
{
    EXPECT_EQ(FromDouble(-0.0000004), "-0.000000");
    const std::string longest = FromDouble(-std::numeric_limits<double>::max());
    EXPECT_EQ(longest.size(), 255U);
    EXPECT_EQ(longest.substr(0, 16), "-179769313486231");
}

TEST(String, CaseChangesAsciiLettersOnly)
{
    EXPECT_EQ(ToLower("AZ[@\xC9\0Q"s), "az[@\xC9\0q"s);
    EXPECT_EQ(ToUpper("az{`\xE9\0q"s), "AZ{`\xE9\0Q"s);
}

TEST(String, Tokenize)
{
    const struct
    {
        std::string text;
        std::string delimiters;
        std::vector<std::string> tokens;
    } cases[] = {
        {"|a|b::c", "|:", {"", "a", "b", "", "c"}},
        {"a b", "|", {"a b"}},
        {"a\0b"s, "\0"s, {"a", "b"}},
        {"a\xFF\xE9"s, "\xE9", {"a\xFF", ""}},
    };
    for (const auto& [text, delimiters, expected] : cases) {
        std::vector<std::string> tokens;
        EXPECT_EQ(Tokenize(text, delimiters, &tokens), 0) << text;
        EXPECT_EQ(tokens, expected) << text;
    }

    const std::string longText = "a text longer than what a string holds in itself";
    std::vector<std::string> tokens{longText + "|b"};
    tokens.shrink_to_fit();
    EXPECT_EQ(Tokenize(tokens[0], "|", &tokens), 0) << "the text is itself among the tokens";
    EXPECT_EQ(Tokenize("", "|", &tokens), 6);
    EXPECT_EQ(Tokenize("a|b", "", &tokens), 6);
    EXPECT_EQ(Tokenize("a|b", "|", nullptr), 6);
    EXPECT_THAT(tokens, testing::ElementsAre(longText + "|b", longText, "b"));
}

TEST(String, Trim)
{
    EXPECT_EQ(Trim("-=x y=", "=-"), "x y");
    EXPECT_EQ(Trim("   ", " "), "");
    EXPECT_EQ(Trim(" x ", ""), " x ");
    EXPECT_EQ(Trim("\0x\0"s, "\0"s), "x");
}

} // namespace
