#include "Util/Time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>

namespace {

/// Where set, what the clock shows, in seconds since the epoch.
std::optional<std::time_t> s_clock;

} // namespace

// In the place of the C library's, so that a test can set the clock.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): its names are reserved
time_t time(time_t*) noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return s_clock.value_or(now.tv_sec);
}

namespace {

using Util::Time;

class TimeTest : public testing::Test
{
protected:
    ~TimeTest() override
    {
        s_clock.reset();
        unsetenv("TZ");
        tzset();
    }
};

TEST_F(TimeTest, GetCurrentTimeString)
{
    constexpr std::time_t Evening = 1794860130; // 16 November 2026, 20:15:30 UTC
    constexpr std::time_t Last = std::numeric_limits<std::time_t>::max();
    const struct
    {
        std::time_t now;
        const char* zone;
        bool utc;
        const char* stamp;
    } cases[] = {
        {Evening, "XXX-1", true, "20261116T201530Z"}, {Evening, "XXX+5:30", false, "20261116T144530"},
        {951782400, "UTC", false, "20000229T000000"}, {Last, "UTC", true, "9223372036854775807"},
        {Last, "UTC", false, "9223372036854775807"},
    };
    for (const auto& [now, zone, utc, stamp] : cases) {
        s_clock = now;
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(Time::GetCurrentTimeString(utc), stamp) << now << ' ' << zone;
    }
}

} // namespace
