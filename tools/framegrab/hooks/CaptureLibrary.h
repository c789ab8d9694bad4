#pragma once

#include "hooks/UndisturbedThread.h"
#include "shared/CaptureInterface.h"

namespace Framegrab {

/// The functions of the capture library; all null when it could not be opened.
struct CaptureLibrary
{
    BeforeSwapFunction beforeSwap;
    AfterSwapFunction afterSwap;
    AfterWindowSurfaceFunction afterWindowSurface;
    BeforeSurfaceIsDestroyedFunction beforeSurfaceIsDestroyed;
    CaptureTargetIfLeftFunction captureTargetIfLeft;
};

/// Opens the capture library on the first call.
const CaptureLibrary& OpenCaptureLibrary() noexcept;

/// @return whether that call has been
bool IsCaptureLibraryOpen() noexcept;

/// Lets framegrab say something to its user, if the process runs under it.
void SayToUser(const char* text) noexcept;

/// @param driverFunction  as in `CaptureContext`
CaptureContext ContextOf(void* driverFunction) noexcept;

/// Acts upon what a capture on the calling thread found out.
void TakeIn(const CaptureAnswer& answer) noexcept;

/// Calls a function of the capture library and takes its answer in.
///
/// @param function        as `&CaptureLibrary::beforeSwap`
/// @param driverFunction  as in `CaptureContext`
/// @param arguments       those after the context
template <typename Function, typename... Arguments>
CaptureAnswer CallCapture(Function CaptureLibrary::*function, void* driverFunction, Arguments... arguments)
{
    const UndisturbedThread undisturbed;
    CaptureAnswer answer;
    if (const Function capture = OpenCaptureLibrary().*function) {
        const CaptureContext context = ContextOf(driverFunction);
        answer = capture(&context, arguments...);
        TakeIn(answer);
    }
    return answer;
}

} // namespace Framegrab
