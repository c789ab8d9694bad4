#pragma once

#include <cstddef>

namespace TestSupport {

/// Whether `FailingNew` works in this build: a sanitizer brings an operator new of its own, which ends the
/// process where it finds no memory.
extern const bool CanFailNew;

/// Makes one operator new of this thread fail with `std::bad_alloc`, as long as it is in scope.
class FailingNew
{
public:
    /// @param index  how many calls succeed before the one that fails
    explicit FailingNew(std::size_t index);
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
    ~FailingNew();

    /// @return whether a call has failed; false once `index` exceeds the number of calls
    [[nodiscard]] bool HasFailed() const;
};

} // namespace TestSupport
