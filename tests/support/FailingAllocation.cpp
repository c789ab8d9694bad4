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

thread_local std::size_t s_newToFail = Never;
thread_local std::size_t s_newCount = 0;

bool MustFail()
{
    return s_firstToFail != Never && s_count++ >= s_firstToFail;
}

void* Allocate(std::size_t size) noexcept
{
    return std::malloc(size > 0 ? size : 1);
}

void* AllocateOrThrow(std::size_t size)
{
    const bool mustFail = s_newToFail != Never && s_newCount++ == s_newToFail;
    void* const memory = mustFail ? nullptr : Allocate(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
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

// All of them, since a sanitizer checks that memory goes back the way it came, and since its own throwing
// forms end the process where they find no memory.

void* operator new(std::size_t size)
{
    return AllocateOrThrow(size);
}

void* operator new[](std::size_t size)
{
    return AllocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return MustFail() ? nullptr : Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return MustFail() ? nullptr : Allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
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

FailingNew::FailingNew(std::size_t index)
{
    s_newToFail = index;
    s_newCount = 0;
}

FailingNew::~FailingNew()
{
    s_newToFail = Never;
}

bool FailingNew::HasFailed() const
{
    return s_newCount > s_newToFail;
}

} // namespace TestSupport
