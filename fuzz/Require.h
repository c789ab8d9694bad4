#pragma once

#include "Core/Log.h"

#include <cstdlib>

/// Ends the run on a property that does not hold, so that libFuzzer keeps the input.
inline void Require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

/// What a damaged input makes the library log is no finding.
inline void SilenceLog()
{
    Core::Log::m_ioPipeMask = 0;
}
