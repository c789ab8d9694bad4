#pragma once

#include "Util/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Util {

/// What a buffer holds, read back without a loss: the numbers themselves, where `CapturedImage` is a picture
/// of them.
struct CapturedValues
{
    enum Content : std::uint32_t
    {
        Color = 0,   ///< four components: red, green, blue, alpha
        Depth = 1,   ///< one component, `Float32`
        Stencil = 2, ///< one component, `UInt8`
    };

    /// What the components are, in the byte order of the machine. An unsigned normalized one of b bits is an
    /// integer n that stands for n / (2^b - 1).
    enum ValueType : std::uint32_t
    {
        Unorm8 = 0,
        Unorm16 = 1,
        Unorm10A2 = 2, ///< all four in 32 bits, red in the lowest ten, alpha in the highest two
        Float16 = 3,   ///< IEEE 754 binary16
        Float32 = 4,   ///< also normalized values of other sizes, and signed ones: the nearest float
        UInt8 = 5,
        UInt32 = 6, ///< also integers of fewer bits
        Int32 = 7,  ///< also integers of fewer bits
    };

    std::string fileName; ///< path that the values are meant for, without extension
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    Content content = Color;
    ValueType type = Unorm8;

    bool isSrgb = false; ///< red, green and blue are encoded as sRGB, and stand here as they are encoded

    /// Bits that the buffer has for each component. 0 where it has none: red, green and blue then come as 0,
    /// and alpha as 1. Depth and stencil have the first alone.
    std::array<std::uint32_t, 4> bits{};

    std::uint32_t samples = 0;        ///< of the buffer; 0 when it is not multisampled
    std::uint32_t internalFormat = 0; ///< of the attachment, e.g. `GL_RGBA16F`; 0 for a window surface

    /// False where a value may differ from what the buffer holds: samples that the driver averages, or the
    /// one of them that it selects; depth that had to be sampled by a shader, which some drivers round
    /// differently in the last bit.
    bool isExact = true;

    /// Bottom row first, rows of width x `GetPixelSize` bytes without padding.
    const std::uint8_t* values = nullptr;

    /// @return bytes of one pixel
    [[nodiscard]] std::size_t GetPixelSize() const
    {
        constexpr std::array<std::size_t, 8> Sizes{1, 2, 4, 2, 4, 1, 4, 4};
        return Sizes[type] * (content == Color && type != Unorm10A2 ? 4 : 1);
    }
};

/// Takes the values that are read back, as an `ImageSink` takes pictures: the same holds for it.
class UTIL_EXPORT ValueSink
{
public:
    ValueSink() = default;
    ValueSink(const ValueSink&) = delete;
    ValueSink& operator=(const ValueSink&) = delete;
    virtual ~ValueSink();

    /// @param values  good until this returns; the numbers too, unless they are in memory that the sink has
    ///                lent
    /// @return 0 when they are taken; anything else is the status of the capture
    virtual std::uint32_t Take(const CapturedValues& values) = 0;

    /// @param bytes  size of the block that is about to be read
    /// @return room for as many, of any content and alignment; null: memory of the library's own is used
    virtual std::uint8_t* Lend(std::size_t bytes);
};

} // namespace Util
