#pragma once

#include <cstddef>
#include <limits>

namespace TestSupport {

struct AllocationCount
{
    std::size_t fails = std::numeric_limits<std::size_t>::max(); ///< the number of the first to fail, from 0
    std::size_t made = 0;
};

class CountedAllocations
{
public:
    CountedAllocations(const CountedAllocations&) = delete;
    CountedAllocations& operator=(const CountedAllocations&) = delete;

    /// Whether an allocation has failed so far.
    [[nodiscard]] bool HasFailed() const { return m_count.made > m_count.fails; }

protected:
    CountedAllocations(AllocationCount& count, std::size_t first) : m_count(count) { m_count = {first}; }
    ~CountedAllocations() { m_count = {}; }

private:
    AllocationCount& m_count;
};

/// While one lives, allocations of its thread fail from a certain one on: those by `new (std::nothrow)`,
/// those for zlib streams that are initialised meanwhile, and those of zstd. One at a time.
class FailingAllocation : public CountedAllocations
{
public:
    explicit FailingAllocation(std::size_t first);
};

/// While one lives, a certain one alone of the `new` of its thread throws `std::bad_alloc`. One at a time.
class FailingNew : public CountedAllocations
{
public:
    explicit FailingNew(std::size_t index);
};

} // namespace TestSupport
