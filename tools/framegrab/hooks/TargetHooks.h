#pragma once

#include "shared/CaptureInterface.h"

/// What the other hooks and those of render targets have to do with each other. One of the two hook libraries
/// has TargetHooks.cpp, the other WithoutTargetHooks.cpp.
namespace Framegrab {

/// Captures what the calling thread has drawn into, with which it is done when it shows a frame.
void CaptureTargetBeforeSwap() noexcept;

/// Learns whether the drawing that follows matters.
void LearnWhetherTargetsAreWanted(const CaptureAnswer& answer) noexcept;

} // namespace Framegrab
