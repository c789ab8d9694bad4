#include "shared/FrameList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Framegrab {

namespace {

TEST(FrameListTest, KnowsItsFramesAndWhatOfThemIsMissing)
{
    struct Case
    {
        const char* list;
        std::vector<std::uint64_t> of12; ///< those of the first twelve frames that the list has
        const char* missing;             ///< after these
    };
    const Case cases[] = {
        {"1,50,60,100-110", {1}, "50,60,100-110"},
        {"5-9,1-2,3-4,20", {1, 2, 3, 4, 5, 6, 7, 8, 9}, "20"},
        {"60-100/10", {}, "60-100/10"},
        {"1-9/4,2-3", {1, 2, 3, 5, 9}, ""},
        {"20,22,24,30", {}, "20-24/2,30"},
        {"8-/2,5,6", {5, 6, 8, 10, 12}, ""},
        {"7-/4,4-/3", {4, 7, 10, 11}, ""},
        {"20-/4,10-", {10, 11, 12}, "20"},
        {"1-999999999/10000", {1}, "10001-999990001/10000"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.list);
        FrameList list;
        std::string error;
        ASSERT_TRUE(FrameList::Parse(one.list, list, error)) << error;
        FrameList done;
        std::vector<std::uint64_t> contained;
        for (std::uint64_t frame = 1; frame <= 12; ++frame) {
            if (list.Contains(frame)) {
                contained.push_back(frame);
                done.Add(frame);
            }
        }
        EXPECT_EQ(contained, one.of12);
        EXPECT_EQ(list.Closed().Without(done).ToString(), one.missing);
    }
}

} // namespace

} // namespace Framegrab
