#include "support/FailingAllocation.h"

// For contexts with an allocator of their own.
#define ZSTD_STATIC_LINKING_ONLY

#include <zlib.h>
#include <zstd.h>

#include <cstdlib>
#include <dlfcn.h>
#include <new>

namespace {

thread_local TestSupport::AllocationCount s_failing;
thread_local TestSupport::AllocationCount s_failingNew;

void* AllocateOrThrow(std::size_t size)
{
    void* const memory = s_failingNew.made++ == s_failingNew.fails ? nullptr : std::malloc(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

void* AllocateOrNull(std::size_t size) noexcept
{
    return s_failing.made++ >= s_failing.fails ? nullptr : std::malloc(size);
}

constexpr ZSTD_customMem OwnAllocator = {
    [](void* /*opaque*/, std::size_t size) { return AllocateOrNull(size); },
    [](void* /*opaque*/, void* address) { std::free(address); },
    nullptr,
};

void UseOwnAllocator(z_stream* stream)
{
    if (s_failing.fails != TestSupport::AllocationCount{}.fails) {
        stream->zalloc = [](voidpf, uInt items, uInt size) { return AllocateOrNull(size_t{items} * size); };
        stream->zfree = [](voidpf, voidpf address) { std::free(address); };
    }
}

} // namespace

// In the place of the shared library's, which they go on to call.

extern "C" int deflateInit_(z_stream* stream, int level, const char* version, int streamSize)
{
    UseOwnAllocator(stream);
    return reinterpret_cast<decltype(&deflateInit_)>(dlsym(RTLD_NEXT, "deflateInit_"))(stream, level, version,
                                                                                       streamSize);
}

extern "C" int inflateInit_(z_stream* stream, const char* version, int streamSize)
{
    UseOwnAllocator(stream);
    return reinterpret_cast<decltype(&inflateInit_)>(dlsym(RTLD_NEXT, "inflateInit_"))(stream, version,
                                                                                       streamSize);
}

extern "C" ZSTD_CCtx* ZSTD_createCCtx()
{
    return ZSTD_createCCtx_advanced(OwnAllocator);
}

extern "C" ZSTD_DCtx* ZSTD_createDCtx()
{
    return ZSTD_createDCtx_advanced(OwnAllocator);
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
    return AllocateOrNull(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return AllocateOrNull(size);
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

FailingAllocation::FailingAllocation(std::size_t first) : CountedAllocations(s_failing, first) {}

FailingNew::FailingNew(std::size_t index) : CountedAllocations(s_failingNew, index) {}

} // namespace TestSupport
