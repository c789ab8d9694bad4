#pragma once

#include "Util/Export.h"

namespace Util {

/// One RGBA colour as four floats of any range. No operation clamps; all four components take part in each.
class UTIL_EXPORT Color
{
public:
    float r;
    float g;
    float b;
    float a;

    /// Transparent black: alpha is 0, not 1.
    constexpr Color() : Color(0.0F, 0.0F, 0.0F, 0.0F) {}

    /// An opaque colour: alpha is 1.
    constexpr Color(float red, float green, float blue) : Color(red, green, blue, 1.0F) {}

    constexpr Color(float red, float green, float blue, float alpha) : r(red), g(green), b(blue), a(alpha) {}

    constexpr void Set(float red, float green, float blue, float alpha)
    {
        r = red;
        g = green;
        b = blue;
        a = alpha;
    }

    constexpr void AddColor(const Color* other)
    {
        Set(r + other->r, g + other->g, b + other->b, a + other->a);
    }

    /// IEEE division: by 0 it gives infinities or NaNs.
    constexpr void DivideColor(float divisor) { Set(r / divisor, g / divisor, b / divisor, a / divisor); }

    constexpr void ScaleColor(float factor) { Set(r * factor, g * factor, b * factor, a * factor); }
};

} // namespace Util
