#include "support/FailingNew.h"

#include <cstdlib>
#include <limits>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define UTIL_TEST_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define UTIL_TEST_SANITIZED
#endif

namespace {

constexpr std::size_t Never = std::numeric_limits<std::size_t>::max();

thread_local std::size_t s_callsLeft = Never;
thread_local bool s_hasFailed = false;

} // namespace

#ifdef UTIL_TEST_SANITIZED

const bool TestSupport::CanFailNew = false;

#else

const bool TestSupport::CanFailNew = true;

// The array and nothrow forms of the standard library come down to these.
void* operator new(std::size_t size)
{
    if (s_callsLeft != Never && s_callsLeft-- == 0) {
        s_callsLeft = Never;
        s_hasFailed = true;
        throw std::bad_alloc();
    }
    void* const memory = std::malloc(size > 0 ? size : 1);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

#endif

namespace TestSupport {

FailingNew::FailingNew(std::size_t index)
{
    s_callsLeft = index;
    s_hasFailed = false;
}

FailingNew::~FailingNew()
{
    s_callsLeft = Never;
}

bool FailingNew::HasFailed() const
{
    return s_hasFailed;
}

} // namespace TestSupport
