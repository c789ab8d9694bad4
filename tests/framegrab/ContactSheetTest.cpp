#include "ContactSheet.h"

#include "Page.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace TestSupport;
using Framegrab::ContactSheet;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// Adds files of 10 x 20 pixels and makes them.
void Add(ContactSheet& sheet, const TemporaryFolder& folder, std::uint64_t frame,
         const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        std::ofstream(folder.File(name)) << "a picture";
        sheet.Add(frame, name, "", {.width = 10, .height = 20, .bytes = 12345});
    }
}

Page Written(const ContactSheet& sheet, const TemporaryFolder& folder)
{
    std::string error;
    EXPECT_TRUE(sheet.Write(folder.Path().string(), error)) << error;
    return ReadPage(folder.Path());
}

TEST(ContactSheet, ColumnsStandInTheOrderInWhichFramesDrawThem)
{
    const TemporaryFolder folder;
    ContactSheet sheet("program");
    Add(sheet, folder, 1, {"frame000001.png", "frame000001_depth.png"});
    Add(sheet, folder, 2,
        {"frame000002_target01_color0.png", "frame000002_target01_color0_thumbnail.png",
         "frame000002_target02_depth.png", "frame000002.png"});
    Add(sheet, folder, 3,
        {"frame000003_target01_color0.png", "frame000003_target01_color1.png", "frame000003.png"});
    const Page page = Written(sheet, folder);
    EXPECT_EQ(page.Problem(), "");
    EXPECT_THAT(page.columns,
                ElementsAre("target01_color0", "target01_color1", "target02_depth", "color", "depth"));
    ASSERT_EQ(page.rows.size(), 3U);
    EXPECT_THAT(page.rows[0].images, ElementsAre("frame000001.png", "frame000001_depth.png"));
    EXPECT_THAT(page.rows[1].images, ElementsAre("frame000002_target01_color0_thumbnail.png",
                                                 "frame000002_target02_depth.png", "frame000002.png"));
    EXPECT_THAT(page.rows[1].links, ElementsAre("frame000002_target01_color0.png",
                                                "frame000002_target02_depth.png", "frame000002.png"));
}

TEST(ContactSheet, ShowsNamesAsTheyAre)
{
    const TemporaryFolder folder;
    const std::string name = "frame000001_\"a'<b>&amp;%20?#\xC3\xA9";
    ContactSheet sheet("<i>\"it's\" & \xFF\x01\xE2\x82 caf\xC3\xA9</i>");
    sheet.SetNote("<script>");
    Add(sheet, folder, 1, {name + ".png", name + "_thumbnail.png"});
    const Page page = Written(sheet, folder);
    EXPECT_EQ(page.Problem(), "");
    ASSERT_EQ(page.rows.size(), 1U);
    EXPECT_THAT(page.rows[0].links, ElementsAre(name + ".png"));
    EXPECT_THAT(page.rows[0].images, ElementsAre(name + "_thumbnail.png"));
    EXPECT_THAT(page.rows[0].alternatives, ElementsAre("Frame 1, " + name.substr(12)));
    EXPECT_THAT(page.columns, ElementsAre(name.substr(12)));
    EXPECT_THAT(page.text,
                HasSubstr("<h1>&#60;i&#62;&#34;it&#39;s&#34; &#38; "
                          "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD caf\xC3\xA9&#60;/i&#62;</h1>"));
    EXPECT_THAT(page.text, Not(HasSubstr("<script>")));
}

TEST(ContactSheet, SaysHowLargeThePicturesAre)
{
    const struct
    {
        std::uint64_t bytes;
        const char* text;
    } cases[]{
        {0, ", PNG\u00A00\u00A0bytes<"},         {999, ", PNG\u00A0999\u00A0bytes<"},
        {1000, ", PNG\u00A01.0\u00A0kB<"},       {9949, ", PNG\u00A09.9\u00A0kB<"},
        {45499, ", PNG\u00A045\u00A0kB<"},       {1234567, ", PNG\u00A01.2\u00A0MB<"},
        {12345678900, ", PNG\u00A012\u00A0GB<"},
    };
    for (const auto& item : cases) {
        ContactSheet sheet("program");
        sheet.Add(1, "frame000001.png", "D24", {.width = 1280, .height = 720, .bytes = item.bytes});
        EXPECT_THAT(sheet.Html(), HasSubstr(std::string("1280 × 720, D24") + item.text)) << item.bytes;
    }
}

TEST(ContactSheet, HasAnAddress)
{
    EXPECT_EQ(ContactSheet::UrlOf("/tmp/a b#c/50%"), "file:///tmp/a%20b%23c/50%25/index.html");
}

} // namespace
