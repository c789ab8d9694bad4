#pragma once

#include <EGL/egl.h>

#include <cstdint>

/// What the hook library and the capture library have in common.
///
/// Two libraries, because the first is loaded into every process that the program starts, before anything
/// else and into the scope where all its symbols are looked up: it must bring nothing along. The second, with
/// libUtil and all that libUtil needs, is opened by the first when a process swaps, in a scope of its own.
namespace Framegrab {

using LookupFunction = void* (*)(void* handle, const char* name) noexcept;

/// A swap that is about to happen.
struct SwapCall
{
    EGLDisplay display;
    EGLSurface surface;
    void* driverFunction;  ///< the driver's function that will swap
    LookupFunction lookup; ///< `dlsym`, past the hooks
    const char* session;   ///< the session's folder
};

/// Counts the swap and, if its frame was asked for, captures it.
///
/// @return a number for `AfterSwapFunction`; 0 when that need not be called
using BeforeSwapFunction = std::uint64_t (*)(const SwapCall*);
inline constexpr const char* BeforeSwapName = "FramegrabBeforeSwap";

using AfterSwapFunction = void (*)(std::uint64_t token);
inline constexpr const char* AfterSwapName = "FramegrabAfterSwap";

inline constexpr const char* CaptureLibraryName = "libframegrab-capture.so";

} // namespace Framegrab
