#pragma once

#include <cstdlib>

/// Ends the run on a property that does not hold, so that libFuzzer keeps the input.
inline void Require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}
