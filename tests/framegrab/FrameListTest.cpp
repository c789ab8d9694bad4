#include "FrameList.h"

#include <gtest/gtest.h>

namespace {

using Framegrab::FrameList;

TEST(FrameList, ReadsNumbersAndRanges)
{
    const struct
    {
        const char* text;
        const char* normal; ///< as a sorted list without repeats
        std::uint64_t count;
    } cases[]{
        {"1,60,100-110", "1,60,100-110", 13},
        {"5-9,1-2,3-4,20", "1-9,20", 10},
        {"60-100/10", "60-100/10", 5},
        {"1-9/4,2-3", "1-3,5,9", 5},
        {"1,3,5,6", "1,3,5-6", 4},
        {"1-999999999/10000", "1-999990001/10000", 100000},
    };
    for (const auto& item : cases) {
        FrameList list;
        std::string error;
        EXPECT_TRUE(FrameList::Parse(item.text, list, error)) << item.text << ": " << error;
        EXPECT_EQ(list.ToString(), item.normal) << item.text;
        EXPECT_EQ(list.Count(), item.count) << item.text;
    }
}

TEST(FrameList, RefusesAllElseAndSaysWhatIsWrong)
{
    for (const char* text :
         {"", "-1", "1000000000", "99999999999999999999", "1-/0", "1-9/0", "1-999999999/9999"}) {
        FrameList list;
        list.Add(77);
        std::string error;
        EXPECT_FALSE(FrameList::Parse(text, list, error)) << text;
        EXPECT_FALSE(error.empty()) << text;
        EXPECT_EQ(list.ToString(), "77") << text;
    }
}

TEST(FrameList, KnowsItsMembers)
{
    const struct
    {
        const char* text;
        const char* members; ///< from frame 0 on
        std::uint64_t first;
        std::uint64_t last; ///< 0 where there is none
        const char* closed;
    } cases[]{
        {"2-4,8", "..xxx...x...", 2, 8, "2-4,8"},
        {"2-9/3", "..x..x..x...", 2, 8, "2-8/3"},
        {"8-/2,5,6", ".....xx.x.x.", 5, 0, "5-6,8"},
        {"7-/4,4-/3", "....x..x..xx", 4, 0, "4,7"},
    };
    for (const auto& item : cases) {
        FrameList list;
        FrameList again;
        std::string error;
        ASSERT_TRUE(FrameList::Parse(item.text, list, error)) << item.text << ": " << error;
        ASSERT_TRUE(FrameList::Parse(list.ToString(), again, error)) << list.ToString();
        for (const FrameList& either : {list, again}) {
            std::string members;
            for (std::uint64_t frame = 0; frame < 12; ++frame) {
                members += either.Contains(frame) ? 'x' : '.';
            }
            EXPECT_EQ(members, item.members) << item.text;
        }
        EXPECT_EQ(list.First(), item.first) << item.text;
        EXPECT_EQ(list.IsOpen(), item.last == 0) << item.text;
        EXPECT_EQ(list.IsLast(8), item.last == 8) << item.text;
        EXPECT_EQ(list.Closed().ToString(), item.closed) << item.text;
    }
}

} // namespace
