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
    EXPECT_THAT(page.text,
                HasSubstr("<h1>&#60;i&#62;&#34;it&#39;s&#34; &#38; "
                          "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD caf\xC3\xA9&#60;/i&#62;</h1>"));
    EXPECT_THAT(page.text, Not(HasSubstr("<script>")));
}

} // namespace
