#include "support/FailingAllocation.h"

#include <zlib.h>

#include <cstdlib>
#include <dlfcn.h>
#include <limits>
#include <new>

namespace {

constexpr std::size_t Never = std::numeric_limits<std::size_t>::max();
thread_local std::size_t s_firstToFail = Never;
thread_local std::size_t s_count = 0;

bool MustFail()
{
    return s_firstToFail != Never && s_count++ >= s_firstToFail;
}

void UseOwnAllocator(z_stream* stream)
{
    if (s_firstToFail != Never) {
        stream->zalloc = [](voidpf, uInt items, uInt size) {
            return MustFail() ? nullptr : std::calloc(items, size);
        };
        stream->zfree = [](voidpf, voidpf address) { std::free(address); };
    }
}

/// What the shared library has under the name of a function that stands before it here.
template <typename Function>
Function* Real(Function* /*own*/, const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int deflateInit_(z_stream* stream, int level, const char* version, int streamSize)
{
    UseOwnAllocator(stream);
    return Real(&deflateInit_, "deflateInit_")(stream, level, version, streamSize);
}

extern "C" int inflateInit_(z_stream* stream, const char* version, int streamSize)
{
    UseOwnAllocator(stream);
    return Real(&inflateInit_, "inflateInit_")(stream, version, streamSize);
}

// Through the throwing form, so that a sanitizer's own operator stays in use.
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    try {
        return MustFail() ? nullptr : ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace TestSupport {

FailingAllocation::FailingAllocation(std::size_t first)
{
    s_firstToFail = first;
    s_count = 0;
}

FailingAllocation::~FailingAllocation()
{
    s_firstToFail = Never;
}

bool FailingAllocation::HasFailed() const
{
    return s_count > s_firstToFail;
}

} // namespace TestSupport
