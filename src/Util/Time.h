#pragma once

#include "Util/Export.h"

#include <cstdint>
#include <string>

namespace Util {

/// A stopwatch on the wall clock, started by its construction.
///
/// An object does not change after construction; any number of threads may read it.
class UTIL_EXPORT Time
{
public:
    /// What the elapsed seconds are multiplied by.
    ///
    /// @warning Multiplied, not divided: 1 second at `TimesMilli` reads 0.001, not 1000. The values are
    ///          therefore in units of a second, of 1000 seconds and so on, never of a millisecond.
    enum TimeResolution : std::uint32_t
    {
        TimesOne = 0,   ///< 1
        TimesMilli = 1, ///< 1e-3
        TimesMicro = 2, ///< 1e-6
        TimesNano = 3,  ///< 1e-9
    };

    /// @throws Core::BasicException  "Unrecognized timer resolution." for a value other than the four
    explicit Time(TimeResolution resolution);
    Time(const Time&) = default;
    Time& operator=(const Time&) = default;
    virtual ~Time();

    /// @return the seconds since construction, with a precision of a microsecond, times the factor of the
    ///         resolution; negative where the wall clock was set back
    [[nodiscard]] double Get() const;

    /// The current date and time as ISO 8601 has it in its basic format, which suits file names. Throws
    /// nothing.
    ///
    /// @param utc  true: in UTC, such as `20261116T201530Z`; false: in the zone of the process, such as
    ///             `20261116T211530`
    /// @return the stamp; the seconds since the epoch in decimal where the calendar has no such year; empty
    ///         without memory
    /// @note Any thread, as long as none changes the environment variable `TZ`.
    static std::string GetCurrentTimeString(bool utc);

private:
    double m_scale;
    double m_start; ///< seconds since the epoch
};

} // namespace Util
