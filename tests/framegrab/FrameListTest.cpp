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
        {"1", "1", 1},       {"1,60,100-110", "1,60,100-110", 13}, {"60,1", "1,60", 2},
        {"3,1-2", "1-3", 3}, {"5-9,1-2,3-4,20", "1-9,20", 10},     {"1-10,4-6,10-12", "1-12", 12},
        {"7-7", "7", 1},     {"999999999", "999999999", 1},
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
    for (const char* text : {"", ",", "1,", ",1", "0", "-1", "1-", "5-3", "1-2-3", "a", "1 2", " 1", "+1",
                             "1.5", "0-4", "1000000000", "99999999999999999999"}) {
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
    FrameList list;
    std::string error;
    ASSERT_TRUE(FrameList::Parse("2-4,8", list, error));
    std::string members;
    for (std::uint64_t frame = 0; frame < 12; ++frame) {
        members += list.Contains(frame) ? 'x' : '.';
    }
    EXPECT_EQ(members, "..xxx...x...");
    EXPECT_EQ(list.First(), 2U);
    EXPECT_EQ(list.Last(), 8U);
}

TEST(FrameList, LeavesOutTheFramesOfAnother)
{
    const struct
    {
        const char* from;
        const char* without;
        const char* rest;
    } cases[]{
        {"1-10", "5", "1-4,6-10"}, {"1-10", "1-10", ""},      {"1-10", "1-3,9-20", "4-8"},
        {"1,5,9", "2-8", "1,9"},   {"3-4", "1-2,5-6", "3-4"}, {"1-3,7-9", "2,8", "1,3,7,9"},
    };
    for (const auto& item : cases) {
        FrameList from;
        FrameList without;
        std::string error;
        ASSERT_TRUE(FrameList::Parse(item.from, from, error));
        ASSERT_TRUE(FrameList::Parse(item.without, without, error));
        EXPECT_EQ(from.Without(without).ToString(), item.rest) << item.from << " without " << item.without;
    }
}

} // namespace
