#include "Util/Time.h"

#include "Core/BasicException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>
#include <sys/time.h>

namespace {

/// Where set, what the clock shows, in seconds and microseconds since the epoch.
std::optional<timeval> s_clock;

timeval Clock()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return s_clock.value_or(timeval{now.tv_sec, now.tv_nsec / 1000});
}

} // namespace

// In the place of the C library's, so that a test can set the clock.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): their names are reserved
time_t time(time_t* result) noexcept
{
    const timeval now = Clock();
    if (result) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

int gettimeofday(timeval* result, void*) noexcept
{
    *result = Clock();
    return 0;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

using Util::Time;

/// A process in a time zone with the clock at an instant, as long as it is in scope.
class At
{
public:
    At(timeval clock, const char* zone)
    {
        s_clock = clock;
        setenv("TZ", zone, 1);
        tzset();
    }
    At(const At&) = delete;
    At& operator=(const At&) = delete;
    ~At()
    {
        s_clock.reset();
        unsetenv("TZ");
        tzset();
    }
};

constexpr std::time_t Evening = 1794860130; // 16 November 2026, 20:15:30 UTC

TEST(Time, GetMultipliesByTheFactor)
{
    const struct
    {
        Time::TimeResolution resolution;
        double elapsed;
    } cases[] = {
        {Time::TimesOne, 2.25},
        {Time::TimesMilli, 2.25e-3},
        {Time::TimesMicro, 2.25e-6},
        {Time::TimesNano, 2.25e-9},
    };
    for (const auto& [resolution, elapsed] : cases) {
        const At start({Evening, 750000}, "UTC");
        const Time time(resolution);
        EXPECT_EQ(time.Get(), 0.0);
        s_clock = {Evening + 3, 0};
        EXPECT_NEAR(time.Get(), elapsed, elapsed * 1e-6) << resolution;
        s_clock = {Evening, 500000};
        EXPECT_NEAR(time.Get(), elapsed / -9.0, elapsed * 1e-6) << "set back, " << resolution;
    }
}

TEST(Time, MeasuresTheRealClock)
{
    const Time time(Time::TimesOne);
    const timespec pause{0, 20'000'000};
    nanosleep(&pause, nullptr);
    EXPECT_GE(time.Get(), 0.0199);
    EXPECT_LT(time.Get(), 60.0);
}

TEST(Time, RefusesOtherResolutions)
{
    for (const std::uint32_t resolution : {4U, std::numeric_limits<std::uint32_t>::max()}) {
        try {
            const Time time(static_cast<Time::TimeResolution>(resolution));
            ADD_FAILURE() << resolution;
        } catch (const Core::BasicException& exception) {
            EXPECT_STREQ(exception.what(), "Unrecognized timer resolution.");
        }
    }
}

TEST(Time, GetCurrentTimeString)
{
    const struct
    {
        std::time_t now;
        const char* zone;
        bool utc;
        const char* stamp;
    } cases[] = {
        {Evening, "XXX-1", true, "20261116T201530Z"},
        {Evening, "XXX-1", false, "20261116T211530"},
        {Evening, "XXX+5:30", false, "20261116T144530"},
        {0, "UTC", true, "19700101T000000Z"},
        {951782400, "UTC", false, "20000229T000000"},
        {std::numeric_limits<std::time_t>::max(), "UTC", true, "9223372036854775807"},
        {std::numeric_limits<std::time_t>::max(), "UTC", false, "9223372036854775807"},
    };
    for (const auto& [now, zone, utc, stamp] : cases) {
        const At at({now, 0}, zone);
        EXPECT_EQ(Time::GetCurrentTimeString(utc), stamp) << now << ' ' << zone;
    }
    EXPECT_THAT(Time::GetCurrentTimeString(true), testing::MatchesRegex("20[0-9]{6}T[0-9]{6}Z"));
}

} // namespace
