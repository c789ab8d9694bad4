#include "Util/Color.h"

#include <gtest/gtest.h>

namespace {

using Util::Color;

void ExpectColor(const Color& color, float r, float g, float b, float a)
{
    EXPECT_EQ(color.r, r);
    EXPECT_EQ(color.g, g);
    EXPECT_EQ(color.b, b);
    EXPECT_EQ(color.a, a);
}

TEST(Color, AlphaTakesPartInEveryOperation)
{
    Color color(0.5F, 0.25F, 1.0F);
    ExpectColor(color, 0.5F, 0.25F, 1.0F, 1.0F);
    color.ScaleColor(2.0F);
    ExpectColor(color, 1.0F, 0.5F, 2.0F, 2.0F);
    color.AddColor(&color);
    ExpectColor(color, 2.0F, 1.0F, 4.0F, 4.0F);
    color.DivideColor(4.0F);
    ExpectColor(color, 0.5F, 0.25F, 1.0F, 1.0F);
}

} // namespace
