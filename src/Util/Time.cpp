#include "Util/Time.h"

#include "Core/BasicException.h"
#include "Util/NoThrow.h"
#include "Util/String.h"

#include <cmath>
#include <ctime>
#include <iterator>
#include <sys/time.h>

namespace Util {

namespace {

constexpr double Factors[] = {1.0, 1e-3, 1e-6, 1e-9};

constexpr char UtcTimeFormat[] = "%Y%m%dT%H%M%SZ";
constexpr char LocalTimeFormat[] = "%Y%m%dT%H%M%S";

double Factor(Time::TimeResolution resolution)
{
    if (resolution >= std::size(Factors)) {
        throw Core::BasicException("Unrecognized timer resolution.");
    }
    return Factors[resolution];
}

/// Seconds since the epoch.
double Now()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    return std::fma(static_cast<double>(now.tv_usec), 1e-6, static_cast<double>(now.tv_sec));
}

} // namespace

Time::Time(TimeResolution resolution) : m_scale(Factor(resolution)), m_start(Now()) {}

// Here, so that the class has its virtual table in the library alone.
Time::~Time() = default;

double Time::Get() const
{
    return (Now() - m_start) * m_scale;
}

std::string Time::GetCurrentTimeString(bool utc)
{
    const std::time_t now = std::time(nullptr);
    std::tm fields = {};
    char stamp[64]; // the year alone has up to 10 digits and a sign
    if (!(utc ? gmtime_r(&now, &fields) : localtime_r(&now, &fields)) ||
        std::strftime(stamp, sizeof(stamp), utc ? UtcTimeFormat : LocalTimeFormat, &fields) == 0) {
        return String::FromInt64(now, 10);
    }
    return NoThrow([&] { return std::string(stamp); });
}

} // namespace Util
