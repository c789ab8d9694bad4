#include "Heap.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>

// glibc's own, under the names that stand behind the ones below.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
}

namespace {

constexpr std::size_t HalfAFrame = std::size_t{1920} * 1080 * 4 / 2;

std::atomic<std::size_t> s_now{0};
std::atomic<std::size_t> s_peak{0};
std::atomic<std::size_t> s_frameSized{0};
std::size_t s_start = 0;

void* Count(void* memory)
{
    const std::size_t size = memory ? malloc_usable_size(memory) : 0;
    const std::size_t now = s_now += size;
    std::size_t peak = s_peak;
    while (now > peak && !s_peak.compare_exchange_weak(peak, now)) {
    }
    s_frameSized += size >= HalfAFrame;
    return memory;
}

void Uncount(void* memory)
{
    s_now -= memory ? malloc_usable_size(memory) : 0;
}

} // namespace

extern "C" {

void* malloc(std::size_t size)
{
    return Count(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return Count(__libc_calloc(count, size));
}

void* realloc(void* memory, std::size_t size)
{
    Uncount(memory);
    return Count(__libc_realloc(memory, size));
}

void free(void* memory)
{
    Uncount(memory);
    __libc_free(memory);
}
}

namespace Bench {

Heap::Heap()
{
    s_start = s_now;
    s_peak = s_start;
    s_frameSized = 0;
}

std::size_t Heap::Peak() const
{
    return s_peak - s_start;
}

std::size_t Heap::FrameSized() const
{
    return s_frameSized;
}

} // namespace Bench
