#include "Util/OpenPNGFiles.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace Util::OpenPNGFiles {

namespace {

/// Dispositions that have been found, each once, so that the handler can read the one in force whatever
/// another thread does. More than an application has handlers.
std::array<struct sigaction, 32> s_dispositions;
std::size_t s_dispositionCount = 0;

bool s_isInstalled = false; ///< has been, for files of which some are open

std::atomic<const struct sigaction*> s_found{nullptr};
std::atomic<void (*)(int)> s_handler{nullptr};
std::atomic<pid_t> s_handedOnBy{0}; ///< the last thread that did since the handler was installed
std::atomic<std::uint32_t> s_openCount{0};

/// The ticket given last: a number that grows, and in its lowest bit whether no other file was open then.
std::atomic<Ticket> s_lastTicket{NoTicket};

static_assert(std::atomic<const struct sigaction*>::is_always_lock_free &&
              std::atomic<void (*)(int)>::is_always_lock_free && std::atomic<pid_t>::is_always_lock_free);

/// Held for a few system calls. Not a mutex, since a forked child must not wait for a thread that it does not
/// have. Signals wait meanwhile: a handler that leaves by longjmp would leave it locked.
class Lock
{
public:
    Lock()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_signals);
        const pid_t self = getpid();
        pid_t holder = 0;
        while (!s_holder.compare_exchange_weak(holder, self)) {
            // Another thread has it. A holder that is another process is not there to unlock it.
            if (holder == self) {
                sched_yield();
                holder = 0;
            }
        }
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock()
    {
        s_holder = 0;
        pthread_sigmask(SIG_SETMASK, &m_signals, nullptr);
    }

private:
    static std::atomic<pid_t> s_holder; ///< process; 0: nobody
    sigset_t m_signals{};
};

std::atomic<pid_t> Lock::s_holder{0};

bool IsSame(const struct sigaction& a, const struct sigaction& b)
{
    // Signal by signal: a mask has room for more than there are, and sigaction does not write there.
    bool isSame = a.sa_handler == b.sa_handler && a.sa_flags == b.sa_flags;
    for (int signal = 1; isSame && signal < NSIG; ++signal) {
        isSame = sigismember(&a.sa_mask, signal) == sigismember(&b.sa_mask, signal);
    }
    return isSame;
}

struct sigaction Disposition()
{
    struct sigaction current = {};
    sigaction(SIGABRT, nullptr, &current);
    return current;
}

bool IsOurs(const struct sigaction& disposition)
{
    return (disposition.sa_flags & SA_SIGINFO) == 0 && disposition.sa_handler == s_handler.load();
}

/// Has the handler hand signals on to this disposition. @return false when no more can be kept
bool SetFound(const struct sigaction& disposition)
{
    auto* const end = s_dispositions.begin() + s_dispositionCount;
    auto* const known =
        std::find_if(s_dispositions.begin(), end, [&](const auto& d) { return IsSame(d, disposition); });
    if (known == s_dispositions.end()) {
        return false;
    }
    if (known == end) {
        *known = disposition;
        ++s_dispositionCount;
    }
    s_found = known;
    return true;
}

void Install(void (*handler)(int))
{
    s_handler = handler;
    const struct sigaction found = Disposition();
    // Noted before the handler is installed, which hands signals on to it and may run at once.
    if (IsOurs(found) || !SetFound(found)) {
        return;
    }
    s_handedOnBy = 0;
    struct sigaction ours = {};
    ours.sa_handler = handler;
    ours.sa_flags = SA_RESTART | SA_ONSTACK;
    sigemptyset(&ours.sa_mask);
    struct sigaction replaced = {};
    if (sigaction(SIGABRT, &ours, &replaced) == 0 && !IsSame(replaced, found)) {
        SetFound(replaced); // the application has changed it since
    }
}

void PutBackFound()
{
    const struct sigaction* const found = s_found;
    if (found && IsOurs(Disposition())) {
        sigaction(SIGABRT, found, nullptr);
    }
}

} // namespace

Ticket Add()
{
    const Lock lock;
    const Ticket isFirst = s_openCount++ == 0 ? 1 : 0;
    s_lastTicket = ((s_lastTicket >> 1) + 1) << 1 | isFirst;
    return s_lastTicket;
}

void InstallHandler(void (*handler)(int))
{
    const Lock lock;
    if (!s_isInstalled) {
        Install(handler);
        s_isInstalled = true;
    }
}

void Remove()
{
    const Lock lock;
    if (--s_openCount == 0 && s_isInstalled) {
        PutBackFound();
        s_isInstalled = false;
    }
}

bool AreThereAny()
{
    return s_openCount != 0;
}

bool IsAlone(Ticket ticket)
{
    return ticket == NoTicket ? !AreThereAny() : ticket == s_lastTicket && (ticket & 1) != 0;
}

void HandAbortOn()
{
    const int error = errno;
    const struct sigaction* const found = s_found;
    const bool isFunction = found && found->sa_handler != SIG_DFL && found->sa_handler != SIG_IGN;
    const struct sigaction current = Disposition();
    if (isFunction && IsOurs(current)) {
        s_handedOnBy = gettid();
        sigaction(SIGABRT, found, nullptr);
        raise(SIGABRT);
    } else if (isFunction && IsSame(current, *found) && s_handedOnBy.exchange(gettid()) != gettid()) {
        // Another thread has put it back since the signal came here. Raised once a thread: a function that
        // the application has installed over this handler may call it in turn, and the two would go on
        // without end.
        raise(SIGABRT);
    }
    errno = error;
}

} // namespace Util::OpenPNGFiles
