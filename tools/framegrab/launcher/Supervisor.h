#pragma once

#include "launcher/Report.h"
#include "shared/Session.h"

#include <chrono>
#include <string>
#include <sys/types.h>

namespace Framegrab {

/// Watches over a program from its start to the end of the last of its processes that matters.
class Supervisor
{
public:
    /// @param process  the program's first process
    /// @param name     the program, for messages
    /// @param timeout  seconds after which the program is ended if the last frame has not come; 0 for none
    /// @param counters  of the session; told when the program is ended
    Supervisor(pid_t process, std::string name, double timeout, const Settings& settings,
               SharedCounters& counters, RecordReader& records, Report& report);

    /// Returns when the program has ended, by itself or, as asked for, by this call.
    ///
    /// The program is over when its first process has ended and every process of it that shows frames. Other
    /// processes that it leaves behind are left alone, as they would be without framegrab, unless the program
    /// is ended from here.
    ///
    /// @return the program's exit status; 128 + the signal that killed it; 0 when it was ended as asked for
    int Run();

private:
    using Clock = std::chrono::steady_clock;

    enum class Ending
    {
        ByItself,
        AsAskedFor, ///< `-quit` or `-timeout`
        BySignal,   ///< somebody ends framegrab
    };

    void WaitForSignal();
    void ReapChildren();
    void TakeRecords();
    void CheckFrames();
    void End(Ending ending, int signal);
    [[nodiscard]] bool IsOver() const;
    [[nodiscard]] int Status() const;

    pid_t m_first;
    std::string m_name;
    double m_timeout;
    const Settings& m_settings;
    SharedCounters& m_counters;
    RecordReader& m_records;
    Report& m_report;
    std::string m_progress; ///< as it was last shown

    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastFrameTime{}; ///< when the last frame was dealt with
    Clock::time_point m_firstEndTime{};  ///< when the first process was seen to have ended
    Clock::time_point m_endTime{};       ///< when `End` was called
    Ending m_ending = Ending::ByItself;
    bool m_hasFirstEnded = false;
    bool m_wasFirstEnded = false; ///< from here, rather than by itself
    int m_waitStatus = 0;
};

} // namespace Framegrab
