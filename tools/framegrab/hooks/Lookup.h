#pragma once

#include "shared/CaptureInterface.h"

#include <span>

/// How functions are found: by the program, which is to find the hooks, and past them.
namespace Framegrab {

/// A function that is hooked wherever the program looks it up.
struct HookedFunction
{
    const char* name;
    void* (*hookFor)(void*); ///< gives the hook for a driver's function of this name
    void* (*exported)();     ///< gives the function that this library exports; null when it exports none
};

// The functions that each source file hooks.

std::span<const HookedFunction> LookupFunctions() noexcept;
std::span<const HookedFunction> SwapFunctions() noexcept;
std::span<const HookedFunction> SurfaceFunctions() noexcept;
std::span<const HookedFunction> GLXFunctions() noexcept;
std::span<const HookedFunction> ErrorFunctions() noexcept;
std::span<const HookedFunction> TargetFunctions() noexcept; ///< none in the library without hooks for targets

/// The C library's dlsym.
LookupFunction RealDlsym() noexcept;

/// Finds the function behind one that is exported here.
///
/// @return null when no library of the process has it
void* FindDriverFunction(const char* name) noexcept;

/// Keeps the library loaded that a function is in, even if the program closes it.
void KeepLoaded(void* function) noexcept;

} // namespace Framegrab
