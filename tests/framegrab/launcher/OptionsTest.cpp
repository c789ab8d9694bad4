// The command line, and the texts made of the same table.

#include "launcher/CommandLine.h"
#include "launcher/Help.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace Framegrab {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using Words = std::vector<std::string>;

TEST(OptionsTest, TakesOneDashOrTwoAndTheValueBehindASignOrAsTheNextWord)
{
    for (const Words& words : {Words{"-frames", "3,5", "-quit", "-output", "a b=\"c\"", "--", "p"},
                               {"--frames=3,5", "--quit", "--output=a b=\"c\"", "--", "p"},
                               {"-fr=3,5", "-q", "-frames", "5,3", "-out", "a b=\"c\"", "--", "p"}}) {
        Options options;
        std::string error;
        ASSERT_TRUE(ParseOptions(words, options, error)) << error;
        EXPECT_EQ(options.settings.frames.ToString(), "3,5");
        EXPECT_TRUE(options.settings.quit);
        EXPECT_EQ(options.files.folder, "a b=\"c\"");
        EXPECT_THAT(options.program, ElementsAre("p"));
    }
}

TEST(OptionsTest, RefusesWhatItDoesNotUnderstand)
{
    struct Case
    {
        Words words;
        const char* error;
    };
    const Case cases[] = {
        {{}, "no program was given"},
        {{"--"}, "no program was given"},
        {{"es2tri"}, "\"es2tri\" is not an option"},
        {{"-quit", "es2tri"}, "\"es2tri\" is not an option"},
        {{"-frobnicate=1", "--", "p"}, "unknown option \"-frobnicate\""},
        {{"-thumb", "8x8", "--", "p"}, "\"-thumb\" is cut too short: it may be -thumbnail, -thumbnail-only"},
        {{"-quit=1", "--", "p"}, "the option -quit takes no value"},
        {{"-output"}, "the option -output needs a value"},
        {{"-output", "--", "p"}, "the option -output needs a value"},
        {{"-output=", "--", "p"}, "-output: it needs the path of a folder"},
        {{"-frames", "1,x", "--", "p"}, "-frames: \"x\" is neither a frame number (1 to 999999999) nor"},
        {{"-frames", "", "--", "p"}, "-frames: \"\" is neither"},
        {{"-frames", "-1", "--", "p"}, "-frames: \"-1\" is neither"},
        {{"-frames", "9-3", "--", "p"}, "-frames: the range \"9-3\" runs backwards"},
        {{"-frames", "1000000000", "--", "p"}, "-frames: \"1000000000\" is neither"},
        {{"-frames", "99999999999999999999", "--", "p"}, "-frames: \"99999999999999999999\" is neither"},
        {{"-frames", "1-/0", "--", "p"}, "-frames: \"1-/0\" is neither"},
        {{"-frames", "1-9/0", "--", "p"}, "-frames: \"1-9/0\" is neither"},
        {{"-frames", "1-999999999/9999", "--", "p"}, "has more than 100000 steps; leave its end open"},
        {{"-quit", "-frames", "5,60-/10", "--", "p"}, "-quit: there is no last frame in 5,60-/10"},
        {{"-buffers", "color,alpha", "--", "p"}, "\"alpha\" is none of color, depth and stencil"},
        {{"-png", "best", "--", "p"}, "-png: \"best\" is neither fast nor small"},
        {{"-format", "gif", "--", "p"}, "-format: \"gif\" is neither png, bmp nor exr"},
        {{"-thumbnail", "16385x1", "--", "p"}, "-thumbnail: \"16385x1\" is not a size"},
        {{"-thumbnail", "8", "--", "p"}, "-thumbnail: \"8\" is not a size"},
        {{"-thumbnail-only", "--", "p"}, "-thumbnail-only: it needs the size"},
        {{"-timeout", "soon", "--", "p"}, "-timeout: \"soon\" is not a number of seconds"},
        {{"-loglevel", "6", "--", "p"}, "-loglevel: \"6\" is not a level from 0 to 5"},
        {{"-logzones", "util,gpu", "--", "p"}, "-logzones: \"gpu\" is none of application, capture,"},
        {{"-trigger", "0", "--", "p"}, "-trigger: \"0\" is not a number of frames"},
        {{"-trigger", "-frames", "3", "--", "p"}, "-trigger: which frames it captures is told by the signal"},
        {{"-depth-range", "1-0.5", "--", "p"}, "-depth-range: \"1-0.5\" is neither auto nor a range"},
        {{"-depth-range", "0.5-", "--", "p"}, "-depth-range: \"0.5-\" is neither auto nor a range"},
        {{"-depth-range", "0-1e39", "--", "p"}, "-depth-range: \"0-1e39\" is neither auto nor a range"},
        {{"-help=html"}, "-help: \"html\" is neither man nor bash"},
    };
    for (const Case& one : cases) {
        Options options;
        std::string error;
        EXPECT_FALSE(ParseOptions(one.words, options, error)) << one.error;
        EXPECT_THAT(error, HasSubstr(one.error));
    }
}

TEST(OptionsTest, HelpFitsATerminalAndManPageAndCompletionNameEachOption)
{
    std::istringstream help(HelpText());
    Words lines;
    for (std::string line; std::getline(help, line);) {
        lines.push_back(line);
    }
    EXPECT_THAT(lines, Each(testing::ResultOf([](const std::string& line) { return line.size(); },
                                              testing::Lt(80U))));
    for (const OptionRow& row : OptionTable) {
        EXPECT_THAT(lines, testing::Contains(StartsWith(std::string("  -") + row.name)));
        std::string name = row.name;
        EXPECT_THAT(BashCompletion(), HasSubstr(name));
        if (const std::size_t dash = name.find('-'); dash != std::string::npos) {
            name.insert(dash, "\\");
        }
        EXPECT_THAT(ManPage(), HasSubstr("\n\\fB\\-" + name + "\\fR"));
    }
}

} // namespace

} // namespace Framegrab
