#include "Util/Color.h"

#include <gtest/gtest.h>

#include <array>

TEST(Color, AlphaTakesPartInEveryOperation)
{
    Util::Color color(0.5F, 0.25F, 1.0F);
    color.ScaleColor(2.0F);
    color.AddColor(&color);
    color.ScaleColor(3.0F);
    color.DivideColor(4.0F);
    EXPECT_EQ((std::array{color.r, color.g, color.b, color.a}), (std::array{1.5F, 0.75F, 3.0F, 3.0F}));
}
