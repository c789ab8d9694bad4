#include "launcher/Supervisor.h"

#include "launcher/Processes.h"
#include "launcher/Say.h"
#include "launcher/Text.h"
#include "shared/LogSettings.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

using namespace std::chrono_literals;

/// How often to look for what no event tells, while the end of the program depends on it.
constexpr auto Tick = 20ms;

/// How often otherwise: only for the progress that is shown.
constexpr auto SlowTick = 250ms;

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
                       Session& session, Writers& writers, Report& report)
    : m_first(process), m_name(std::move(name)), m_timeout(timeout), m_settings(settings), m_session(session),
      m_counters(session.Memory().counters), m_writers(writers), m_report(report)
{
    const sigset_t signals = SupervisedSignals();
    m_signals = Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

int Supervisor::Run()
{
    if (m_settings.triggerFrames != 0) {
        Say("kill -USR1 " + std::to_string(getpid()) + " captures the next " + NextFrames());
    }
    while (!IsOver()) {
        WaitForEvent();
        while (TakeSignal()) {
        }
        ReapChildren();
        m_session.Serve();
        TakeRecords();
        CheckFrames();
    }
    m_counters.isEnding = 1;
    m_counters.isOver = 1;
    m_session.Memory().WakeAll();
    WriteRest();
    ShowProgress("");
    return Status();
}

std::chrono::milliseconds Supervisor::LongestWait() const
{
    const bool isEndNear = m_hasFirstEnded || m_ending != Ending::ByItself || m_counters.isLastFrameDone != 0;
    if (isEndNear || m_timeout <= 0) {
        return isEndNear ? Tick : SlowTick;
    }
    const std::chrono::duration<double> left =
        std::chrono::duration<double>(m_timeout) - (Clock::now() - m_start);
    return std::clamp(std::chrono::ceil<std::chrono::milliseconds>(left), 0ms,
                      std::chrono::milliseconds(SlowTick));
}

void Supervisor::WaitForEvent()
{
    std::array<pollfd, 3> events{{{m_signals.Get(), POLLIN, 0},
                                  {m_session.Events().Get(), POLLIN, 0},
                                  {m_writers.Events().Get(), POLLIN, 0}}};
    poll(events.data(), events.size(), static_cast<int>(LongestWait().count()));
}

/// @return whether there was one
bool Supervisor::TakeSignal()
{
    signalfd_siginfo info{};
    if (read(m_signals.Get(), &info, sizeof(info)) != sizeof(info)) {
        return false;
    }
    const int signal = static_cast<int>(info.ssi_signo);
    if (signal == SIGCHLD) {
        return true;
    }
    if (signal == SIGUSR1 && m_settings.triggerFrames != 0) {
        Trigger();
        return true;
    }
    CountInterrupt();
    if ((signal == SIGTERM || signal == SIGHUP) && m_ending == Ending::ByItself) {
        End(Ending::BySignal, signal);
    } else if (info.ssi_code != SI_KERNEL) {
        // What a terminal sends, it sends to the program as well. Whether an interrupt ends it is the
        // program's affair.
        SignalAll(signal);
    }
    return true;
}

void Supervisor::Trigger()
{
    m_counters.framesAsked += m_settings.triggerFrames;
    Say("capturing the next " + NextFrames());
}

/// @return what a trigger asks for
std::string Supervisor::NextFrames() const
{
    return m_settings.triggerFrames == 1 ? "frame" : Count(m_settings.triggerFrames, "frame");
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
    // Whoever loses a parent becomes a child of framegrab: without children there are no descendants.
    m_hasChildren = process == 0;
}

void Supervisor::TakeRecords()
{
    for (const Record& record : m_session.TakeRecords()) {
        m_report.Take(record);
    }
    for (const Record& record : m_writers.TakeRecords()) {
        m_report.Take(record);
    }
    TellWhenMemoryIsFull();
    if (m_lastFrameTime == Clock::time_point{} && m_counters.isLastFrameDone != 0) {
        m_lastFrameTime = Clock::now();
    }
    const std::string progress = m_report.Progress(m_counters.framesRead);
    if (progress != m_progress) {
        ShowProgress(progress);
        m_progress = progress;
    }
}

void Supervisor::TellWhenMemoryIsFull()
{
    if (!m_isFullTold && m_counters.waits != 0) {
        m_isFullTold = true;
        FRAMEGRAB_LOG(
            Core::Log::ZoneCapture,
            "the memory for pictures is full: %s waits until some are written (see -memory and -threads)",
            m_name.c_str());
    }
}

void Supervisor::CheckFrames()
{
    const Clock::time_point now = Clock::now();
    if (m_endSignal != 0) {
        if (!m_session.IsAnyFrameBegun() || now >= m_endTime + FrameTime) {
            SendEnd();
        }
    } else if (m_ending != Ending::ByItself) {
        if (now >= m_endTime + GraceTime) {
            SignalAll(SIGKILL);
        }
    } else if (m_counters.isLastFrameDone != 0) {
        if (m_settings.quit && (m_counters.isLastFrameShown != 0 || now >= m_lastFrameTime + ShowTime)) {
            End(Ending::AsAskedFor, SIGTERM);
        }
    } else if (m_timeout > 0 && now - m_start >= std::chrono::duration<double>(m_timeout)) {
        const FrameList& frames = m_settings.frames;
        Say(frames.IsOpen() || frames.IsEmpty()
                ? "ending " + m_name + " after " + Seconds(m_timeout)
                : "frame " + std::to_string(frames.Last()) + " has not come within " + Seconds(m_timeout) +
                      "; ending " + m_name);
        End(Ending::AsAskedFor, SIGTERM);
    }
}

/// Lets no frame begin any more. The program is told when those that have begun are done.
void Supervisor::End(Ending ending, int signal)
{
    m_ending = ending;
    m_endSignal = signal;
    m_endTime = Clock::now();
    m_counters.isEnding = 1;
}

void Supervisor::SendEnd()
{
    m_counters.isOver = 1;
    m_session.Memory().WakeAll();
    SignalAll(m_endSignal);
    SignalAll(SIGCONT); // a process that is stopped would not get to see it
    m_endSignal = 0;
    m_endTime = Clock::now();
}

bool Supervisor::IsOver() const
{
    if (m_ending != Ending::ByItself) {
        const bool isGivenUp = m_endSignal == 0 && Clock::now() >= m_endTime + GraceTime + KillTime;
        return (!m_hasChildren && m_hasFirstEnded) || isGivenUp;
    }
    if (!m_hasFirstEnded || m_session.IsAnyClientRunning()) {
        return false;
    }
    return !m_hasChildren || m_counters.isLastFrameDone != 0 ||
           Clock::now() >= m_firstEndTime + BackgroundStartTime;
}

/// Waits until what was read is written, unless the user interrupts that as well.
void Supervisor::WriteRest()
{
    m_interrupts = std::min(m_interrupts, 1U);
    bool isTold = false;
    while (!m_writers.IsIdle()) {
        const std::string rest = std::to_string(m_writers.CountUnwritten());
        if (m_interrupts >= 2) {
            if (const std::size_t lost = m_writers.GiveUp(); lost != 0) {
                Say("given up: " + std::to_string(lost) + " pictures that were read are not written");
            }
            break;
        }
        if (m_interrupts == 1 && !isTold) {
            isTold = true;
            Say("writing " + rest + " pictures that were read; interrupt once more to give them up");
        }
        WaitForEvent();
        m_session.Serve();
        TakeRecords();
        signalfd_siginfo info{};
        while (read(m_signals.Get(), &info, sizeof(info)) == sizeof(info)) {
            if (info.ssi_signo != SIGCHLD && info.ssi_signo != SIGUSR1) {
                CountInterrupt();
            }
        }
    }
    TakeRecords();
}

/// Two within a moment are one: timeout(1) sends its signal to the process, and to the group that it is in.
void Supervisor::CountInterrupt()
{
    constexpr auto Moment = 50ms;
    const Clock::time_point now = Clock::now();
    m_interrupts += now - std::exchange(m_interruptTime, now) >= Moment ? 1U : 0U;
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
