#pragma once

#include <cstddef>

namespace TestSupport {

/// While one lives, allocations of its thread fail: those by `new (std::nothrow) T[]` and those for zlib
/// streams that are initialised meanwhile. One at a time.
class FailingAllocation
{
public:
    /// @param first  the number of the first one to fail, from 0; all after it fail as well
    explicit FailingAllocation(std::size_t first);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    /// Whether an allocation has failed so far.
    [[nodiscard]] bool HasFailed() const;
};

} // namespace TestSupport
