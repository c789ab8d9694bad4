#pragma once

#include "shared/CaptureInterface.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <pthread.h>
#include <utility>

#define FRAMEGRAB_EXPORT extern "C" __attribute__((visibility("default")))

/// What the parts of the hook library have in common. Like all of it, this needs nothing but the C library.
namespace Framegrab {

/// The functions of the capture library; all null when it could not be opened.
struct CaptureLibrary
{
    BeforeSwapFunction beforeSwap;
    AfterSwapFunction afterSwap;
    CaptureTargetIfLeftFunction captureTargetIfLeft;
};

/// Opens the capture library on the first call.
const CaptureLibrary& Capture();

/// The C library's dlsym.
LookupFunction RealDlsym() noexcept;

/// @param driverFunction  as in `CaptureContext`
CaptureContext ContextOf(void* driverFunction) noexcept;

/// Acts upon what a capture on the calling thread found out.
void TakeIn(const CaptureAnswer& answer) noexcept;

/// A call of the program's that went through a hook, until the end of the scope. A driver may be built on
/// another one, which it may find through the hooks as well: the calls that it makes are not the program's.
class HookedCall
{
public:
    HookedCall() : m_isPrograms(s_depth++ == 0) {}
    HookedCall(const HookedCall&) = delete;
    HookedCall& operator=(const HookedCall&) = delete;
    ~HookedCall() { --s_depth; }

    [[nodiscard]] bool IsPrograms() const { return m_isPrograms; }

private:
    [[gnu::tls_model("initial-exec")]] static constinit thread_local int s_depth;
    const bool m_isPrograms;
};

/// Keeps `errno` as the program left it until the end of the scope.
class SavedErrno
{
public:
    SavedErrno() = default;
    SavedErrno(const SavedErrno&) = delete;
    SavedErrno& operator=(const SavedErrno&) = delete;
    ~SavedErrno() { errno = m_errno; }

private:
    const int m_errno = errno;
};

/// Keeps a capture, which writes files, from what would end the thread or the program there, until the end of
/// the scope: cancellation is put off, since its unwinding must not pass through a capture, and a file beyond
/// the program's size limit is an error to the capture alone.
class UndisturbedThread
{
public:
    UndisturbedThread()
    {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancelState);
        sigemptyset(&m_limit);
        sigaddset(&m_limit, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &m_limit, &m_signals);
    }
    UndisturbedThread(const UndisturbedThread&) = delete;
    UndisturbedThread& operator=(const UndisturbedThread&) = delete;
    ~UndisturbedThread()
    {
        if (sigismember(&m_signals, SIGXFSZ) == 0) {
            constexpr timespec AtOnce{};
            sigtimedwait(&m_limit, nullptr, &AtOnce); // the one that a write of ours has raised
            pthread_sigmask(SIG_SETMASK, &m_signals, nullptr);
        }
        pthread_setcancelstate(m_cancelState, nullptr);
    }

private:
    int m_cancelState = PTHREAD_CANCEL_ENABLE;
    sigset_t m_limit{};   ///< the signal of a file beyond the limit alone
    sigset_t m_signals{}; ///< the program's mask
};

/// Hooks for functions of one type. Each function that turns up, such as those of two drivers in one process,
/// gets a hook of its own, which knows what to call.
template <auto Handler, typename Function>
class Hooks;

template <auto Handler, typename Result, typename... Arguments>
class Hooks<Handler, Result (*)(Arguments...)>
{
public:
    using Function = Result (*)(Arguments...);

    /// @return the hook for a function; the function itself when it is a hook or all hooks are taken
    static void* For(void* function)
    {
        const auto real = reinterpret_cast<Function>(function);
        for (const Function hook : All) {
            if (hook == real) {
                return function;
            }
        }
        for (std::size_t i = 0; i < Size; ++i) {
            Function taken = nullptr;
            if (s_real[i].compare_exchange_strong(taken, real) || taken == real) {
                return reinterpret_cast<void*>(All[i]);
            }
        }
        return function;
    }

private:
    static constexpr std::size_t Size = 8;

    template <std::size_t I>
    static Result Hook(Arguments... arguments)
    {
        return Handler(s_real[I].load(std::memory_order_relaxed), arguments...);
    }

    template <std::size_t... I>
    static constexpr std::array<Function, Size> MakeAll(std::index_sequence<I...>)
    {
        return {&Hook<I>...};
    }

    static constexpr std::array<Function, Size> All = MakeAll(std::make_index_sequence<Size>{});
    static inline std::atomic<Function> s_real[Size]{};
};

/// A function that is hooked wherever the program looks it up.
struct HookedName
{
    const char* name;
    void* (*hookFor)(void*);
    void* (*exported)(); ///< the function that this library exports under the name; null when it exports none
};

template <auto Function>
void* Exported()
{
    return reinterpret_cast<void*>(Function);
}

/// @return the hook for the function behind the one that is exported under a name; null when there is none
void* FindHookOfExported(const char* name) noexcept;

/// The hook for a function that the program calls by linking it.
///
/// @param cache  of this function; null at first
/// @return null when no library has the function
template <typename Function>
Function HookOfExported(std::atomic<void*>& cache, const char* name)
{
    void* hook = cache.load(std::memory_order_relaxed);
    if (!hook) {
        hook = FindHookOfExported(name);
        cache.store(hook, std::memory_order_relaxed);
    }
    return reinterpret_cast<Function>(hook);
}

// -- Render targets: TargetHooks.cpp, which only one of the two hook libraries has --------------------------

/// @return null when it is none of the functions that tell about render targets
const HookedName* FindTargetHook(const char* name) noexcept;

/// The calling thread is about to show a frame: it is done with what it has drawn into.
void CaptureTargetBeforeSwap() noexcept;

/// Whether the drawing that follows matters, as the capture library has answered.
void LearnWhetherTargetsAreWanted(const CaptureAnswer& answer) noexcept;

} // namespace Framegrab
