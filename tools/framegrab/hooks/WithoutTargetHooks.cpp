#include "hooks/Lookup.h"
#include "hooks/TargetHooks.h"

namespace Framegrab {

std::span<const HookedFunction> TargetFunctions() noexcept
{
    return {};
}

void CaptureTargetBeforeSwap() noexcept {}

void LearnWhetherTargetsAreWanted(const CaptureAnswer&) noexcept {}

} // namespace Framegrab
