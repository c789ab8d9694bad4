#include "Util/Time.h"

#include "Core/BasicException.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <sys/time.h>

namespace {

/// Where set, what the clock shows, in seconds and microseconds since the epoch.
std::optional<timeval> s_clock;

} // namespace

// In the place of the C library's, so that a test can set the clock.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): their names are reserved
int gettimeofday(timeval* result, void*) noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    *result = s_clock.value_or(timeval{now.tv_sec, now.tv_nsec / 1000});
    return 0;
}

time_t time(time_t*) noexcept
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    return now.tv_sec;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

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

TEST_F(TimeTest, GetMultipliesByTheFactor)
{
    for (const auto& [resolution, factor] :
         {std::pair(Time::TimesOne, 1.0), std::pair(Time::TimesMilli, 1e-3),
          std::pair(Time::TimesMicro, 1e-6), std::pair(Time::TimesNano, 1e-9)}) {
        s_clock = {1000, 750000};
        const Time time(resolution);
        EXPECT_EQ(time.Get(), 0.0);
        s_clock = {1003, 0};
        EXPECT_NEAR(time.Get(), 2.25 * factor, 1e-6 * factor) << resolution;
        s_clock = {1000, 500000};
        EXPECT_NEAR(time.Get(), -0.25 * factor, 1e-6 * factor) << "set back, " << resolution;
    }
    EXPECT_THROW(Time(static_cast<Time::TimeResolution>(4)), Core::BasicException);
}

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
        s_clock = {now, 0};
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(Time::GetCurrentTimeString(utc), stamp) << now << ' ' << zone;
    }
}

} // namespace
