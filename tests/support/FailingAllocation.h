#pragma once

#include <cstddef>

namespace TestSupport {

/// While one lives, allocations of its thread fail: those by `new (std::nothrow)` and those for zlib
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

/// While one lives, one `new` of its thread throws `std::bad_alloc`. One at a time.
class FailingNew
{
public:
    /// @param index  the number of the one to fail, from 0; those after it succeed
    explicit FailingNew(std::size_t index);
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
    ~FailingNew();

    /// Whether it has failed.
    [[nodiscard]] bool HasFailed() const;
};

} // namespace TestSupport
