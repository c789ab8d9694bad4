#pragma once

#include <cstddef>

namespace Bench {

/// Watches every allocation of the process from its construction on.
class Heap
{
public:
    Heap();

    /// @return most bytes that were allocated at a time, over those at the construction
    [[nodiscard]] std::size_t Peak() const;

    /// @return number of allocations of at least half a frame of 1920 x 1080 pixels
    [[nodiscard]] std::size_t FrameSized() const;
};

} // namespace Bench
