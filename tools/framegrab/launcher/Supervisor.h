#pragma once

#include "launcher/Report.h"
#include "launcher/Session.h"
#include "launcher/Writers.h"
#include "shared/Settings.h"

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
    Supervisor(pid_t process, std::string name, double timeout, const Settings& settings, Session& session,
               Writers& writers, Report& report);

    /// Returns when the program has ended, by itself or, as asked for, by this call, and what was read of it
    /// is written, or given up as the user wants.
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

    void WaitForEvent();
    bool TakeSignal();
    void Trigger();
    void ReapChildren();
    void TakeRecords();
    void TellWhenMemoryIsFull();
    void CheckFrames();
    void End(Ending ending, int signal);
    void SendEnd();
    void WriteRest();
    void CountInterrupt();
    [[nodiscard]] std::chrono::milliseconds LongestWait() const;
    [[nodiscard]] bool IsOver() const;
    [[nodiscard]] std::string NextFrames() const;
    [[nodiscard]] int Status() const;

    pid_t m_first;
    std::string m_name;
    double m_timeout;
    const Settings& m_settings;
    Session& m_session;
    SharedCounters& m_counters;
    Writers& m_writers;
    Report& m_report;
    Descriptor m_signals;   ///< can be read when one has come
    std::string m_progress; ///< as it was last shown
    bool m_isFullTold = false;

    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastFrameTime{}; ///< when the last frame was dealt with
    Clock::time_point m_firstEndTime{};  ///< when the first process was seen to have ended
    Clock::time_point m_endTime{};       ///< when `End` was called, then when the program was told
    Ending m_ending = Ending::ByItself;
    int m_endSignal = 0;                 ///< by which the program is to be told; 0 when it was
    Clock::time_point m_interruptTime{}; ///< when the last of the next came
    unsigned m_interrupts = 0;           ///< signals that were to end framegrab or the program
    bool m_hasChildren = true;           ///< whether any process is left that descends from here
    bool m_hasFirstEnded = false;
    bool m_wasFirstEnded = false; ///< from here, rather than by itself
    int m_waitStatus = 0;
};

} // namespace Framegrab
