#include "Core/BasicException.h"
#include "Util/Time.h"

#include <gtest/gtest.h>

namespace {

TEST(Runtime, ExceptionCrossesTheLibraries)
{
    try {
        const Util::Time time(static_cast<Util::Time::TimeResolution>(4));
        FAIL();
    } catch (const std::exception& exception) {
        EXPECT_NE(dynamic_cast<const Core::BasicException*>(&exception), nullptr);
        EXPECT_STREQ(exception.what(), "Unrecognized timer resolution.");
    }
}

} // namespace
