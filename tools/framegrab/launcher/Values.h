#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

/// Values of a buffer as GL has them, and pictures that make them visible.
namespace Framegrab {

/// What the components of a pixel are, as in `Util::CapturedValues`. Normalized ones are integers that stand
/// for value / (2^bits - 1).
enum class ValueType : std::uint8_t
{
    Unorm8,
    Unorm16,
    Unorm10A2, ///< the four components in 32 bits, red in the lowest ten
    Half,
    Float,
    UInt8,
    UInt32,
    Int32,
};

/// The values of a picture, which somebody else owns.
struct Values
{
    ValueType type = ValueType::Unorm8;
    std::uint32_t channels = 4; ///< 1 to 4; those of a pixel follow each other
    std::array<bool, 4> has{true, true, true,
                            true}; ///< false: the buffer has no such channel, and it says nothing
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    const std::byte* data = nullptr; ///< without padding, of any alignment; the bottom row first

    /// @return bytes of a pixel
    [[nodiscard]] std::size_t Pitch() const;

    [[nodiscard]] std::size_t Pixels() const { return std::size_t{width} * height; }

    [[nodiscard]] bool AreIntegers() const
    {
        return type == ValueType::UInt8 || type == ValueType::UInt32 || type == ValueType::Int32;
    }

    /// @return a value as a number; normalized ones between 0 and 1, rounded to the nearest float
    [[nodiscard]] float NumberAt(std::size_t pixel, std::uint32_t channel) const;

    /// @return an integer; of types that are none, 0
    [[nodiscard]] std::int64_t IntegerAt(std::size_t pixel, std::uint32_t channel) const;
};

/// The depths that a picture shows as black and as white.
struct DepthRange
{
    float least = 0;
    float greatest = 1;
};

/// @return the least and the greatest of the depths that are neither exactly 0 nor exactly 1, which are
///         mostly what was cleared; 0 and 1 where fewer than two different ones are left
DepthRange FindDepthRange(const Values& depths);

/// @return the largest number in a colour, which is no infinity; nothing where there is none
std::optional<float> FindLargest(const Values& colors);

/// One pixel, as `GL_RGBA` and `GL_UNSIGNED_BYTE` lay it out.
using Rgba = std::array<std::uint8_t, 4>;

/// Pixels in the order of the values, bottom row first.
struct Pixels
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<Rgba> pixels;
};

/// @return normalized values and floats as they are, cut to between 0 and 1
Pixels PaintColors(const Values& colors);

/// @return stencil as grey
Pixels PaintStencil(const Values& stencil);

/// @return depths as grey: `range.least` and less black, `range.greatest` and more white
Pixels PaintDepth(const Values& depths, const DepthRange& range);

/// The integers of a pixel; 0 in place of channels that it has not.
using Integers = std::array<std::int64_t, 4>;

/// The color that stands for integers, the same in every picture. Zeros are black; a single value up to 255
/// has a color of its own, of high contrast between the small ones; all others share the rest, a negative one
/// that of the unsigned one with the same bits.
Rgba ColorOf(const Integers& integers);

/// Which integers pictures have, in their order.
using Legend = std::set<Integers>;

/// Paints stencil or integer colors, each pixel in the color that stands for it.
///
/// @param legend  receives the integers of the picture, as long as it has fewer than `MostInLegend`
Pixels PaintIntegers(const Values& integers, Legend& legend);

inline constexpr std::size_t MostInLegend = 256;

/// Scales a picture up or down to the largest that fits a box, with its proportions kept.
///
/// @param isMixed  a pixel is the average of what it stands for; false: one of them, where the average of two
///                 colors would stand for something else
Pixels FitInto(const Pixels& picture, std::uint32_t maxWidth, std::uint32_t maxHeight, bool isMixed);

} // namespace Framegrab
