// The library that captures: opened by the hooks when a process makes a window surface or swaps for the first
// time.

#include "capture/Capturer.h"
#include "shared/CaptureInterface.h"

#include <atomic>
#include <cstdlib>
#include <memory>
#include <pthread.h>
#include <unistd.h>

namespace Framegrab {

namespace {

/// What captures in this process. A child that was forked off without a new program needs one of its own; its
/// parent's may be locked by a thread that the child does not have.
struct Current
{
    explicit Current(const char* session) : capturer(session) {}

    pid_t process = getpid();
    Capturer capturer;
};

std::atomic<Current*> s_current{nullptr}; ///< never destroyed: threads may swap while the process ends

/// In a child of a fork. Its process number may be that of the parent, as the first of another namespace.
void ForgetParents()
{
    s_current = nullptr;
}

__attribute__((constructor)) void OnLoad()
{
    pthread_atfork(nullptr, nullptr, &ForgetParents);
}

/// @return null before the first call that makes one
Capturer* FindCapturer()
{
    Current* const current = s_current;
    return current && current->process == getpid() ? &current->capturer : nullptr;
}

/// A driver takes itself down when the program calls exit, while other threads may be swapping. Nothing is to
/// be read from it then. What was registered last is called first: this comes before.
void StopAtExit()
{
    if (Capturer* const capturer = FindCapturer()) {
        capturer->Stop();
    }
}

Capturer& MakeCapturer(const char* session)
{
    // Without a lock, which would stay locked in a child that is forked meanwhile.
    Current* known = s_current;
    while (!FindCapturer()) {
        auto fresh = std::make_unique<Current>(session);
        if (s_current.compare_exchange_strong(known, fresh.get())) {
            [[maybe_unused]] const Current* const kept = fresh.release();
            std::atexit(&StopAtExit);
        }
    }
    return *FindCapturer();
}

} // namespace

} // namespace Framegrab

// C linkage gives them plain names; who calls them is C++ as well.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

#define FRAMEGRAB_EXPORT extern "C" __attribute__((visibility("default")))

// No exception may pass through the program's frames, which may not be C++.
template <typename Call>
static Framegrab::CaptureAnswer Answer(Call call) noexcept
{
    try {
        return call();
    } catch (...) {
        return {};
    }
}

FRAMEGRAB_EXPORT Framegrab::CaptureAnswer FramegrabBeforeSwap(const Framegrab::CaptureContext* context,
                                                              EGLDisplay display, EGLSurface surface) noexcept
{
    return Answer(
        [&] { return Framegrab::MakeCapturer(context->session).BeforeSwap(*context, display, surface); });
}

FRAMEGRAB_EXPORT Framegrab::CaptureAnswer
FramegrabCaptureTargetIfLeft(const Framegrab::CaptureContext* context,
                             const Framegrab::TargetEvent* event) noexcept
{
    return Answer(
        [&] { return Framegrab::MakeCapturer(context->session).CaptureTargetIfLeft(*context, *event); });
}

FRAMEGRAB_EXPORT Framegrab::CaptureAnswer
FramegrabAfterWindowSurface(const Framegrab::CaptureContext* context, EGLDisplay display, EGLSurface surface,
                            std::uintptr_t window) noexcept
{
    return Answer([&] {
        return Framegrab::MakeCapturer(context->session).AfterWindowSurface(display, surface, window);
    });
}

FRAMEGRAB_EXPORT Framegrab::CaptureAnswer
FramegrabBeforeSurfaceIsDestroyed(const Framegrab::CaptureContext* context, EGLDisplay display,
                                  EGLSurface surface) noexcept
{
    return Answer(
        [&] { return Framegrab::MakeCapturer(context->session).BeforeSurfaceIsDestroyed(display, surface); });
}

FRAMEGRAB_EXPORT void FramegrabAfterSwap() noexcept
{
    if (Framegrab::Capturer* const capturer = Framegrab::FindCapturer()) {
        capturer->AfterSwap();
    }
}
