#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace TestSupport {

/// Bytes with no memory behind them: what goes beyond their end dies there, also in the code of zlib, LZ4 and
/// zstd, into which no sanitizer sees.
class GuardedBytes
{
public:
    explicit GuardedBytes(std::size_t size) : m_size(size)
    {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        m_before = (size + page - 1) / page * page;
        m_mapped = m_before + page;
        m_map = static_cast<std::uint8_t*>(
            mmap(nullptr, m_mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        if (m_map == MAP_FAILED || mprotect(m_map, m_before, PROT_READ | PROT_WRITE) != 0) {
            throw std::runtime_error("no memory to guard");
        }
    }

    explicit GuardedBytes(const std::vector<std::uint8_t>& bytes) : GuardedBytes(bytes.size())
    {
        std::copy(bytes.begin(), bytes.end(), data());
    }

    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;
    ~GuardedBytes() { munmap(m_map, m_mapped); }

    [[nodiscard]] std::uint8_t* data() const { return m_map + m_before - m_size; }

private:
    std::size_t m_size;
    std::size_t m_before = 0;
    std::size_t m_mapped = 0;
    std::uint8_t* m_map = nullptr;
};

} // namespace TestSupport
