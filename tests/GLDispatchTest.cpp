#include "Util/GLDispatch.h"

#include "EntryPointNames.h"
#include "support/TestDispatch.h"

#include <gtest/gtest.h>

#include <set>
#include <span>

namespace {

using namespace TestSupport;

TEST(GLDispatch, PositionsAreThoseOfTheHost)
{
    std::set<std::string> names;
    for (const DispatchEntry& entry : DispatchEntries()) {
        const std::span<const char* const> table = entry.table == Table::EGL
                                                       ? std::span<const char* const>(Core::EGLNames)
                                                       : std::span<const char* const>(Core::GLESNames);
        ASSERT_LT(entry.position, table.size()) << entry.name;
        EXPECT_STREQ(table[entry.position], entry.name.c_str());
        EXPECT_TRUE(names.insert(entry.name).second) << entry.name << " stands twice";
    }
}

} // namespace
