#include "launcher/ContactSheet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <sstream>

namespace Framegrab {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// A page and the files that it shows.
class ContactSheetTest : public testing::Test
{
protected:
    PictureFile& Add(Picture picture, std::uint32_t width = 16, std::uint32_t height = 8)
    {
        picture.width = width;
        picture.height = height;
        return files.emplace_back(
            PictureFile{.picture = picture, .name = FileStem(picture) + ".png", .bytes = 1234});
    }

    std::string Html()
    {
        for (const PictureFile& file : files) {
            sheet.Add(file);
        }
        std::ostringstream html;
        sheet.Print(html);
        return html.str();
    }

    static Picture Frame(std::uint64_t frame, std::uint32_t surface = 1, std::uint32_t process = 1)
    {
        Picture picture;
        picture.frame = frame;
        picture.surface = surface;
        picture.process = process;
        return picture;
    }

    ContactSheet sheet{"<program>"};
    std::deque<PictureFile> files;
};

TEST_F(ContactSheetTest, EachWindowHasASectionWithItsSizes)
{
    Add(Frame(1));
    Add(Frame(1, 2), 640, 480);
    Add(Frame(2));
    Add(Frame(2, 2), 640, 480);
    Add(Frame(3), 32, 8);
    Add(Frame(1, 1, 2));
    const std::string html = Html();
    EXPECT_THAT(html, AllOf(HasSubstr("<h2>Window 1: 16 × 8; 32 × 8 from frame 3</h2>"),
                            HasSubstr("<h2>Window 2: 640 × 480</h2>"),
                            HasSubstr("<h2>Process 2, window 1: 16 × 8</h2>"),
                            HasSubstr("<h1>&#60;program&#62;</h1>"),
                            HasSubstr("6 frames, 6 pictures, 7.4\u00A0kB")));
    EXPECT_LT(html.find("frame000003.png"), html.find("frame000001-w2.png"));
}

TEST_F(ContactSheetTest, TellsWhatAPictureDoesNotShow)
{
    Picture depth = Frame(1);
    depth.buffer = Buffer::Depth;
    Add(depth).depthRange = DepthRange{.least = 0.5F, .greatest = 0.75F};
    Add(Frame(1)).largest = 1.0F;
    Add(Frame(2)).largest = 2.5F;
    Add(Frame(3)).valuesName = "frame000003.exr";
    sheet.AddLegend(Buffer::Stencil, {{7}, {255}});
    sheet.AddLegend(Buffer::Color, {{1, 0, -3}});
    const std::string html = Html();
    EXPECT_THAT(html, AllOf(HasSubstr("<em>black 0.5, white 0.75</em>"), HasSubstr("<em>up to 2.5</em>"),
                            Not(HasSubstr("up to 1<")), HasSubstr("<a href=\"frame000003.exr\">EXR")));
    EXPECT_THAT(html, AllOf(HasSubstr("<h2>Stencil values</h2>"), HasSubstr("</span>7</li>"),
                            HasSubstr("<h2>Integer colors</h2>"), HasSubstr("</span>1, 0, -3</li>")));
}

TEST_F(ContactSheetTest, FramesOfVeryManyPicturesAreNoTable)
{
    for (std::uint32_t target = 1; target <= 300; ++target) {
        Picture picture = Frame(1);
        picture.target = target;
        Add(picture);
    }
    Add(Frame(2));
    const std::string html = Html();
    EXPECT_THAT(html, AllOf(HasSubstr("<div class=\"rows many\""), HasSubstr("<b>target300_color0</b>"),
                            Not(HasSubstr("<td></td>"))));
}

} // namespace

} // namespace Framegrab
