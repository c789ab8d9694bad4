#include "launcher/Supervisor.h"

#include "launcher/Processes.h"
#include "launcher/Say.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <sys/wait.h>
#include <utility>

namespace Framegrab {

namespace {

using namespace std::chrono_literals;

/// How often the records are looked at.
constexpr timespec Tick{.tv_sec = 0, .tv_nsec = 20'000'000};

/// How long the last frame may take from being captured to being shown before -quit ends the program all the
/// same.
constexpr auto ShowTime = 2s;

/// How long a frame whose capture has begun may take until its program is ended all the same.
constexpr auto FrameTime = 2s;

/// How long a process may take to end by itself once it was told to.
constexpr auto GraceTime = 3s;

/// How long a process that was killed may take to disappear.
constexpr auto KillTime = 5s;

/// How long after the end of a launcher script the program that it started in the background may take to show
/// its first frame.
constexpr auto BackgroundStartTime = 5s;

void SignalAll(int signal)
{
    for (const pid_t process : Descendants()) {
        kill(process, signal);
    }
}

std::string Seconds(double seconds)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%g", seconds);
    return std::string(text) + (seconds == 1 ? " second" : " seconds");
}

} // namespace

Supervisor::Supervisor(pid_t process, std::string name, double timeout, const Settings& settings,
                       SharedCounters& counters, RecordReader& records, Report& report)
    : m_first(process), m_name(std::move(name)), m_timeout(timeout), m_settings(settings),
      m_counters(counters), m_records(records), m_report(report)
{}

int Supervisor::Run()
{
    while (!IsOver()) {
        WaitForSignal();
        ReapChildren();
        TakeRecords();
        CheckFrames();
    }
    TakeRecords();
    ShowProgress("");
    return Status();
}

void Supervisor::WaitForSignal()
{
    const sigset_t signals = SupervisedSignals();
    siginfo_t info{};
    const int signal = sigtimedwait(&signals, &info, &Tick);
    if (signal < 0 || signal == SIGCHLD) {
        return;
    }
    if ((signal == SIGTERM || signal == SIGHUP) && m_ending == Ending::ByItself) {
        End(Ending::BySignal, signal);
    } else if (info.si_code != SI_KERNEL) {
        // What a terminal sends, it sends to the program as well. Whether an interrupt ends it is the
        // program's affair.
        SignalAll(signal);
    }
}

void Supervisor::ReapChildren()
{
    int status = 0;
    pid_t process = 0;
    while ((process = waitpid(-1, &status, WNOHANG)) > 0) {
        if (process == m_first) {
            m_hasFirstEnded = true;
            m_wasFirstEnded = m_ending == Ending::AsAskedFor;
            m_firstEndTime = Clock::now();
            m_waitStatus = status;
        }
    }
}

void Supervisor::TakeRecords()
{
    for (const Record& record : m_records.ReadNew()) {
        m_report.Take(record);
    }
    if (m_lastFrameTime == Clock::time_point{} && m_counters.isLastFrameDone != 0) {
        m_lastFrameTime = Clock::now();
    }
    const std::string progress = m_counters.isLastFrameDone != 0 ? "" : m_report.Progress();
    if (progress != m_progress) {
        ShowProgress(progress);
        m_progress = progress;
    }
}

void Supervisor::CheckFrames()
{
    const Clock::time_point now = Clock::now();
    if (m_ending != Ending::ByItself) {
        if (now >= m_endTime + GraceTime) {
            SignalAll(SIGKILL);
        }
    } else if (m_counters.isLastFrameDone != 0) {
        if (m_settings.quit && (m_counters.isLastFrameShown != 0 || now >= m_lastFrameTime + ShowTime)) {
            End(Ending::AsAskedFor, SIGTERM);
        }
    } else if (m_timeout > 0 && now - m_start >= std::chrono::duration<double>(m_timeout)) {
        const FrameList& frames = m_settings.frames;
        Say(frames.IsOpen() ? "ending " + m_name + " after " + Seconds(m_timeout)
                            : "frame " + std::to_string(frames.Last()) + " has not come within " +
                                  Seconds(m_timeout) + "; ending " + m_name);
        End(Ending::AsAskedFor, SIGTERM);
    }
}

void Supervisor::End(Ending ending, int signal)
{
    m_ending = ending;
    m_counters.isEnding = 1;
    for (const auto end = Clock::now() + FrameTime; m_counters.framesBegun != 0 && Clock::now() < end;) {
        nanosleep(&Tick, nullptr);
    }
    m_endTime = Clock::now();
    SignalAll(signal);
    SignalAll(SIGCONT); // a process that is stopped would not get to see it
}

bool Supervisor::IsOver() const
{
    if (!m_hasFirstEnded && m_ending == Ending::ByItself) {
        return false;
    }
    const std::vector<pid_t> processes = Descendants();
    if (m_ending != Ending::ByItself) {
        return processes.empty() ? m_hasFirstEnded : Clock::now() >= m_endTime + GraceTime + KillTime;
    }
    if (std::any_of(processes.begin(), processes.end(),
                    [&](pid_t process) { return m_report.HasSwapped(process); })) {
        return false;
    }
    return processes.empty() || m_counters.isLastFrameDone != 0 ||
           Clock::now() >= m_firstEndTime + BackgroundStartTime;
}

int Supervisor::Status() const
{
    if (!m_hasFirstEnded) {
        Say(m_name + " could not be ended");
        return 1;
    }
    if (m_wasFirstEnded) {
        return 0;
    }
    if (WIFSIGNALED(m_waitStatus)) {
        const int signal = WTERMSIG(m_waitStatus);
        Say(m_name + " was killed by signal " + std::to_string(signal) + " (" + sigdescr_np(signal) + ")");
        return 128 + signal;
    }
    return WEXITSTATUS(m_waitStatus);
}

} // namespace Framegrab
