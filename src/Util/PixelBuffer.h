#pragma once

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <span>

namespace Util {

struct FreeMemory
{
    void operator()(void* memory) const { std::free(memory); }
};

/// Pixels of one capture, zero until something is read into them: never what the memory held before.
using PixelBuffer = std::unique_ptr<std::uint8_t[], FreeMemory>;

/// @param pitch  bytes a pixel
/// @return null where the byte count does not fit or there is no memory for it
inline PixelBuffer AllocatePixels(std::uint32_t width, std::uint32_t height, std::size_t pitch)
{
    // calloc: pages fresh from the system are zero already, clearing them again would cost as much as a copy.
    // It checks the product.
    const std::uint64_t count = std::uint64_t{width} * height;
    return count <= std::numeric_limits<std::size_t>::max()
               ? PixelBuffer(static_cast<std::uint8_t*>(std::calloc(static_cast<std::size_t>(count), pitch)))
               : nullptr;
}

/// The memory that pixels are read into before they are handed to a sink: lent by it, or the library's own.
class SinkMemory
{
public:
    /// @param sink   has `Lend`
    /// @param pitch  bytes a pixel
    template <typename Sink>
    SinkMemory(Sink& sink, std::uint32_t width, std::uint32_t height, std::size_t pitch)
    {
        constexpr auto Most = static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max());
        const std::uint64_t count = std::uint64_t{width} * height;
        if (pitch == 0 || count > Most / pitch) {
            return;
        }
        const auto bytes = static_cast<std::size_t>(count) * pitch;
        m_bytes = {sink.Lend(bytes), bytes};
        if (!m_bytes.data()) {
            m_own = AllocatePixels(width, height, pitch);
            m_bytes = {m_own.get(), m_own ? bytes : 0};
        }
    }

    /// @return empty where the byte count does not fit or there is no memory for it
    [[nodiscard]] std::span<std::uint8_t> Bytes() const { return m_bytes; }

    /// @return whether it is zero, as long as nothing has been read into it
    [[nodiscard]] bool IsZero() const { return m_own != nullptr; }

private:
    std::span<std::uint8_t> m_bytes;
    PixelBuffer m_own; ///< null where the sink lends
};

} // namespace Util
