#include "Util/PixelConversion.h"

#include "Util/Color.h"
#include "Util/GLScreenshotHandler.h"

#include <GLES3/gl3.h>

#include <array>
#include <cstring>

namespace Util {

namespace {

constexpr std::size_t OutputPitch = 4;

/// Written as the minimum and maximum instructions are: the second operand is taken where the first is a NaN.
std::uint32_t Truncate(float value)
{
    value = value > 0.0F ? value : 0.0F;
    value = value < 255.0F ? value : 255.0F;
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
}

std::uint32_t PackBGRA(Color color)
{
    color.ScaleColor(255.0F);
    return Truncate(color.b) | Truncate(color.g) << 8 | Truncate(color.r) << 16 | Truncate(color.a) << 24;
}

/// Converts pixels of four components, each brought to the range of a colour by `unit`.
template <typename Component>
std::uint32_t ConvertPixel(const std::uint8_t* source, float unit)
{
    std::array<Component, 4> c;
    std::memcpy(c.data(), source, sizeof(c));
    return PackBGRA({static_cast<float>(c[0]) * unit, static_cast<float>(c[1]) * unit,
                     static_cast<float>(c[2]) * unit, static_cast<float>(c[3]) * unit});
}

/// The one loop over pixels; `convert` takes the address of a source pixel.
template <std::size_t SourcePitch, typename Convert>
void ConvertPixels(const std::uint8_t* source, std::size_t count, bool opaque, std::uint8_t* bgra,
                   Convert convert)
{
    const std::uint32_t alpha = opaque ? GLScreenshotHandler::MakeOpaque(0) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t pixel = convert(source + i * SourcePitch) | alpha;
        std::memcpy(bgra + i * OutputPitch, &pixel, OutputPitch);
    }
}

std::uint32_t LoadWord(const std::uint8_t* pixel)
{
    std::uint32_t word = 0;
    std::memcpy(&word, pixel, sizeof(word));
    return word;
}

} // namespace

void ConvertToBGRA(const std::uint8_t* source, std::size_t count, unsigned int type, bool opaque,
                   std::uint8_t* bgra)
{
    switch (type) {
    case GL_UNSIGNED_BYTE:
        return ConvertPixels<4>(source, count, opaque, bgra, [](const std::uint8_t* pixel) {
            return SwapFirstAndThirdByte(LoadWord(pixel));
        });
    case GL_UNSIGNED_INT:
        return ConvertPixels<16>(source, count, opaque, bgra, [](const std::uint8_t* pixel) {
            return ConvertPixel<std::uint32_t>(pixel, 0x1p-32F);
        });
    case GL_INT:
        return ConvertPixels<16>(source, count, opaque, bgra, [](const std::uint8_t* pixel) {
            return ConvertPixel<std::int32_t>(pixel, 0x1p-31F);
        });
    case GL_FLOAT:
        return ConvertPixels<16>(source, count, opaque, bgra,
                                 [](const std::uint8_t* pixel) { return ConvertPixel<float>(pixel, 1.0F); });
    default:
        return;
    }
}

void CopyBGRA(const std::uint8_t* source, std::size_t count, bool opaque, std::uint8_t* bgra)
{
    ConvertPixels<4>(source, count, opaque, bgra, LoadWord);
}

} // namespace Util
