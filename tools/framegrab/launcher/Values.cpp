#include "launcher/Values.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <half.h>

namespace Framegrab {

namespace {

/// How the values of a type lie in memory.
struct TypeLayout
{
    std::size_t bytes; ///< of a component; of a pixel where the components are packed
    bool isPacked;
};

constexpr TypeLayout LayoutOf(ValueType type)
{
    switch (type) {
    case ValueType::Unorm8:
    case ValueType::UInt8:
        return {1, false};
    case ValueType::Unorm16:
    case ValueType::Half:
        return {2, false};
    case ValueType::Unorm10A2:
        return {4, true};
    case ValueType::Float:
    case ValueType::UInt32:
    case ValueType::Int32:
        break;
    }
    return {4, false};
}

template <typename Number>
Number NumberIn(const std::byte* bytes)
{
    Number number;
    std::memcpy(&number, bytes, sizeof(number));
    return number;
}

/// @return the float nearest to a normalized value: in double precision the quotient is rounded twice, which
///         for 16 bits and less never makes a difference
float Normalized(std::uint32_t value, unsigned int bits)
{
    return static_cast<float>(value / static_cast<double>((1U << bits) - 1));
}

/// @return hue, saturation and brightness, each 0 to 1, as a color
Rgba FromHsv(double hue, double saturation, double brightness)
{
    const auto component = [&](double shift) {
        const double k = std::fmod(shift + hue * 6, 6);
        const double value = brightness * (1 - saturation * std::clamp(std::min(k, 4 - k), 0.0, 1.0));
        return static_cast<std::uint8_t>(std::lround(value * 255));
    };
    return {component(5), component(3), component(1), 255};
}

/// Colors for the integers up to 255. Each is, of those with components in steps of 17, the one farthest in
/// CIELAB from all before it, beginning with black.
constexpr std::array<std::uint32_t, 256> Contrasting{
    0x000000, 0x00FF00, 0x0000FF, 0xFF0000, 0x00FFFF, 0xFF99EE, 0xFFDD66, 0x006600, 0x000066, 0xAA5544,
    0x0088CC, 0xFF11FF, 0xFFEEEE, 0xFF0077, 0x88FF99, 0x8866FF, 0x558877, 0x660044, 0xDDFF00, 0xFF8800,
    0x776600, 0xBB0099, 0x997799, 0x88AA00, 0x223366, 0x223300, 0xAABB77, 0x00BB22, 0xFF5555, 0xFFAA77,
    0x441100, 0xFF99AA, 0x00BB88, 0x9999FF, 0x88DDFF, 0x0011BB, 0x990000, 0x774499, 0xBBFFDD, 0xBB9988,
    0xAA1144, 0x554444, 0x9911EE, 0xDDFF77, 0xAA5500, 0x005566, 0xDDCCFF, 0x99FF44, 0x0044BB, 0xBB5588,
    0xDD66EE, 0xFFDD00, 0x770099, 0xFFDDAA, 0x00FF77, 0xCC9900, 0x55AA44, 0x33BBBB, 0x220022, 0x99AABB,
    0x00FFCC, 0xEEFFAA, 0xFF00CC, 0xDD4411, 0x775533, 0xFF55AA, 0xBB9955, 0x0055AA, 0x005533, 0xFF6688,
    0x667744, 0x884455, 0x0099BB, 0xBB00CC, 0x440055, 0x88BBFF, 0x7777BB, 0x88DD55, 0x0088FF, 0xAA0066,
    0x660022, 0xBB77DD, 0xEE7744, 0x00CC66, 0xBBCCBB, 0xEEBBCC, 0x88DD99, 0x338855, 0x557799, 0x668822,
    0x553355, 0x773300, 0x777777, 0x5544FF, 0x77BB99, 0x002211, 0x445500, 0xAADD22, 0xDD99CC, 0x881177,
    0xCCCC22, 0x000044, 0xAADD77, 0xCC8833, 0xFFBBAA, 0xFF8877, 0xAAAA44, 0xFF0055, 0x0044DD, 0x002233,
    0x332200, 0xBB55FF, 0x88EEEE, 0xFF0033, 0x004400, 0x331199, 0xEE66CC, 0xAA66AA, 0xBB7777, 0x7744BB,
    0x441122, 0x771111, 0xFFAA00, 0x445544, 0x6666CC, 0xFF11AA, 0x33DD11, 0xFFBB55, 0xFFFFDD, 0x7722CC,
    0x55AA00, 0x333388, 0x554400, 0xDDAAFF, 0x00FFAA, 0x008800, 0x996622, 0xCC0033, 0xFFFF55, 0xCCEEFF,
    0xBB5566, 0x00BBFF, 0x005588, 0xCC8866, 0xFF88BB, 0x5577FF, 0x66EECC, 0x4400DD, 0xDDCC77, 0xFF55FF,
    0xFF9944, 0xAA44BB, 0xDD3377, 0xFF6600, 0x889977, 0xBB4499, 0x998800, 0x001133, 0x775588, 0xBB4433,
    0x00DDFF, 0x9999CC, 0xBB77FF, 0x66EE55, 0x66CC00, 0x552288, 0x009988, 0xBBDDAA, 0x6699EE, 0x77FF00,
    0x555577, 0x880044, 0xEEBB00, 0x332233, 0x441144, 0x77AA66, 0x887744, 0xCCBBBB, 0x88BBBB, 0xFF55DD,
    0xCCAA44, 0xBBFFAA, 0x007777, 0xDD8800, 0x773322, 0xEEBB77, 0xCC0011, 0x775566, 0xBB99AA, 0xCCBB99,
    0xFFFF88, 0x008833, 0xDD6611, 0xBBAA11, 0x88BB44, 0xCC7744, 0x773366, 0xBBCCEE, 0x993300, 0x11DD99,
    0x113333, 0xCC4455, 0x220000, 0xEE3366, 0x990022, 0xCC0088, 0xBBCC55, 0x334455, 0x444422, 0xCC33FF,
    0xDDFFEE, 0xBBFF66, 0x663333, 0x335522, 0x6699CC, 0x00FF55, 0x447733, 0x997777, 0xDD7777, 0x888833,
    0xDD77BB, 0xAA88CC, 0x44AA66, 0xEE0088, 0x554488, 0x77FFBB, 0x55CC77, 0xAA6688, 0xFF88FF, 0x114433,
    0x7700FF, 0xFFFF00, 0x1177CC, 0xAA00AA, 0xFF6644, 0xBBFF22, 0x5555DD, 0xBBFF88, 0xAA88FF, 0x00AA33,
    0x996655, 0x776655, 0xDDFF55, 0x553311, 0x6699AA, 0x003355, 0x337788, 0x002266, 0x00CCBB, 0x55EE77,
    0x22AAFF, 0xFFAACC, 0xDD22CC, 0x002288, 0x003311, 0x446666,
};

/// @return an integer whose bits all depend on all bits of another one
std::uint32_t Mixed(std::uint32_t value)
{
    value = (value ^ value >> 16) * 0x7FEB352DU;
    value = (value ^ value >> 15) * 0x846CA68BU;
    return value ^ value >> 16;
}

/// The pixels of a picture that one of a smaller picture stands for, along one side.
struct Span
{
    std::size_t first;
    std::size_t count;
};

Span SpanOf(std::uint32_t index, std::uint32_t size, std::uint32_t sourceSize)
{
    const std::size_t first = std::size_t{index} * sourceSize / size;
    const std::size_t end = (std::size_t{index} + 1) * sourceSize / size;
    return {first, std::max<std::size_t>(end - first, 1)};
}

Rgba Average(const Pixels& picture, Span columns, Span rows)
{
    std::array<std::uint64_t, 4> sums{};
    for (std::size_t y = rows.first; y < rows.first + rows.count; ++y) {
        for (std::size_t x = columns.first; x < columns.first + columns.count; ++x) {
            const Rgba& pixel = picture.pixels[y * picture.width + x];
            std::transform(sums.begin(), sums.end(), pixel.begin(), sums.begin(), std::plus<>());
        }
    }
    const std::size_t count = columns.count * rows.count;
    Rgba average{};
    std::transform(sums.begin(), sums.end(), average.begin(),
                   [&](std::uint64_t sum) { return static_cast<std::uint8_t>((sum + count / 2) / count); });
    return average;
}

} // namespace

std::size_t Values::Pitch() const
{
    const TypeLayout layout = LayoutOf(type);
    return layout.isPacked ? layout.bytes : layout.bytes * channels;
}

float Values::NumberAt(std::size_t pixel, std::uint32_t channel) const
{
    const TypeLayout layout = LayoutOf(type);
    const std::byte* const bytes = data + pixel * Pitch() + (layout.isPacked ? 0 : channel * layout.bytes);
    switch (type) {
    case ValueType::Unorm8:
        return Normalized(NumberIn<std::uint8_t>(bytes), 8);
    case ValueType::Unorm16:
        return Normalized(NumberIn<std::uint16_t>(bytes), 16);
    case ValueType::Unorm10A2: {
        const unsigned int bits = channel < 3 ? 10 : 2;
        return Normalized(NumberIn<std::uint32_t>(bytes) >> (10 * channel) & ((1U << bits) - 1), bits);
    }
    case ValueType::Half:
        return imath_half_to_float(NumberIn<std::uint16_t>(bytes));
    case ValueType::Float:
        return NumberIn<float>(bytes);
    case ValueType::UInt8:
    case ValueType::UInt32:
    case ValueType::Int32:
        break;
    }
    return static_cast<float>(IntegerAt(pixel, channel));
}

std::int64_t Values::IntegerAt(std::size_t pixel, std::uint32_t channel) const
{
    const std::byte* const bytes = data + pixel * Pitch() + channel * LayoutOf(type).bytes;
    switch (type) {
    case ValueType::UInt8:
        return NumberIn<std::uint8_t>(bytes);
    case ValueType::UInt32:
        return NumberIn<std::uint32_t>(bytes);
    case ValueType::Int32:
        return NumberIn<std::int32_t>(bytes);
    default:
        return 0;
    }
}

DepthRange FindDepthRange(const Values& depths)
{
    DepthRange range{.least = INFINITY, .greatest = -INFINITY};
    for (std::size_t i = 0; i < depths.Pixels(); ++i) {
        const float depth = depths.NumberAt(i, 0);
        if (depth != 0 && depth != 1 && std::isfinite(depth)) {
            range.least = std::min(range.least, depth);
            range.greatest = std::max(range.greatest, depth);
        }
    }
    return range.least < range.greatest ? range : DepthRange{};
}

std::optional<float> FindLargest(const Values& colors)
{
    std::optional<float> largest;
    const std::uint32_t channels = std::min(colors.channels, 3U);
    for (std::size_t i = 0; i < colors.Pixels(); ++i) {
        for (std::uint32_t channel = 0; channel < channels; ++channel) {
            if (!colors.has[channel]) {
                continue;
            }
            const float number = colors.NumberAt(i, channel);
            if (std::isfinite(number) && (!largest || number > *largest)) {
                largest = number;
            }
        }
    }
    return largest;
}

Pixels PaintColors(const Values& colors)
{
    Pixels picture{.width = colors.width, .height = colors.height, .pixels = {}};
    picture.pixels.reserve(colors.Pixels());
    for (std::size_t i = 0; i < colors.Pixels(); ++i) {
        Rgba& pixel = picture.pixels.emplace_back(Rgba{0, 0, 0, 255});
        for (std::uint32_t channel = 0; channel < colors.channels; ++channel) {
            // Written so that what is no number becomes 0.
            const float number = colors.NumberAt(i, channel);
            pixel[channel] = number > 0 ? static_cast<std::uint8_t>(std::lround(std::min(number, 1.0F) * 255))
                                        : std::uint8_t{0};
        }
    }
    return picture;
}

Pixels PaintStencil(const Values& stencil)
{
    Pixels picture{.width = stencil.width, .height = stencil.height, .pixels = {}};
    picture.pixels.reserve(stencil.Pixels());
    for (std::size_t i = 0; i < stencil.Pixels(); ++i) {
        const auto grey = static_cast<std::uint8_t>(stencil.IntegerAt(i, 0));
        picture.pixels.push_back({grey, grey, grey, 255});
    }
    return picture;
}

Pixels PaintDepth(const Values& depths, const DepthRange& range)
{
    Pixels picture{.width = depths.width, .height = depths.height, .pixels = {}};
    picture.pixels.reserve(depths.Pixels());
    const auto least = static_cast<double>(range.least);
    const double span = static_cast<double>(range.greatest) - least;
    for (std::size_t i = 0; i < depths.Pixels(); ++i) {
        // Written so that what is no number becomes black.
        const double place = (static_cast<double>(depths.NumberAt(i, 0)) - least) / span;
        const auto grey =
            place > 0 ? static_cast<std::uint8_t>(std::lround(std::min(place, 1.0) * 255)) : std::uint8_t{0};
        picture.pixels.push_back({grey, grey, grey, 255});
    }
    return picture;
}

Rgba ColorOf(const Integers& integers)
{
    const bool isSingle = integers[1] == 0 && integers[2] == 0 && integers[3] == 0;
    const auto first = static_cast<std::uint32_t>(integers[0]);
    if (isSingle && first < Contrasting.size()) {
        const std::uint32_t color = Contrasting[first];
        return {static_cast<std::uint8_t>(color >> 16), static_cast<std::uint8_t>(color >> 8),
                static_cast<std::uint8_t>(color), 255};
    }
    std::uint32_t bits = 0;
    for (const std::int64_t integer : integers) {
        bits = Mixed(bits + static_cast<std::uint32_t>(integer));
    }
    return FromHsv((bits & 0xFFFFU) / 65536.0, 0.35 + (bits >> 16 & 0xFFU) / 255.0 * 0.65,
                   0.5 + (bits >> 24) / 255.0 * 0.5);
}

Pixels PaintIntegers(const Values& integers, Legend& legend)
{
    Pixels picture{.width = integers.width, .height = integers.height, .pixels = {}};
    picture.pixels.reserve(integers.Pixels());
    Integers last{};
    Rgba color{};
    for (std::size_t i = 0; i < integers.Pixels(); ++i) {
        Integers pixel{};
        for (std::uint32_t channel = 0; channel < integers.channels; ++channel) {
            pixel[channel] = integers.has[channel] ? integers.IntegerAt(i, channel) : 0;
        }
        // Most pixels are as the one before.
        if (i == 0 || pixel != last) {
            color = ColorOf(pixel);
            last = pixel;
            if (legend.size() < MostInLegend) {
                legend.insert(pixel);
            }
        }
        picture.pixels.push_back(color);
    }
    return picture;
}

Pixels FitInto(const Pixels& picture, std::uint32_t maxWidth, std::uint32_t maxHeight, bool isMixed)
{
    const float aspect = static_cast<float>(picture.width) / static_cast<float>(picture.height);
    Pixels result{.width = maxWidth, .height = maxHeight, .pixels = {}};
    if (aspect > static_cast<float>(maxWidth) / static_cast<float>(maxHeight)) {
        result.height = std::max(static_cast<std::uint32_t>(static_cast<float>(maxWidth) / aspect), 1U);
    } else {
        result.width = std::max(static_cast<std::uint32_t>(static_cast<float>(maxHeight) * aspect), 1U);
    }
    result.pixels.reserve(std::size_t{result.width} * result.height);
    for (std::uint32_t y = 0; y < result.height; ++y) {
        const Span rows = SpanOf(y, result.height, picture.height);
        for (std::uint32_t x = 0; x < result.width; ++x) {
            const Span columns = SpanOf(x, result.width, picture.width);
            result.pixels.push_back(isMixed ? Average(picture, columns, rows)
                                            : picture.pixels[(rows.first + rows.count / 2) * picture.width +
                                                             columns.first + columns.count / 2]);
        }
    }
    return result;
}

} // namespace Framegrab
