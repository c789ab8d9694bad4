#include "Util/LogUtils.h"

#include "support/RecordingLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Util;
using namespace std::string_literals;
using Core::Log;
using testing::ElementsAre;
using testing::IsEmpty;

class LogUtilsTest : public testing::Test
{
protected:
    LogUtilsTest() { TestSupport::ClearLog(); }
    ~LogUtilsTest() override { TestSupport::ClearLog(); }
};

/// What the library printed on the console, as level and text.
std::vector<std::string> Printed()
{
    std::vector<std::string> printed;
    for (const TestSupport::LogEntry& entry : TestSupport::LogEntries()) {
        EXPECT_TRUE(entry.toConsole);
        printed.push_back(std::to_string(entry.level) + (entry.decorated ? " line: " : " text: ") +
                          entry.text);
    }
    return printed;
}

TEST_F(LogUtilsTest, Level)
{
    const std::pair<const char*, std::uint32_t> cases[] = {{"0", 0},   {"3", 3},     {"0x5", 5},
                                                           {" 4 ", 4}, {"debug", 0}, {"", 0}};
    for (const auto& [value, level] : cases) {
        Log::m_level = 1;
        ParseCmdArgsLogLevel(value);
        EXPECT_EQ(Log::m_level, level) << value;
        EXPECT_THAT(Printed(), IsEmpty()) << value;
    }
    for (const auto& [value, number] : {std::pair("6", "6"), std::pair("0x80000000", "-2147483648")}) {
        TestSupport::ClearLog();
        Log::m_level = 1;
        ParseCmdArgsLogLevel(value);
        EXPECT_EQ(Log::m_level, 1U) << value;
        EXPECT_THAT(Printed(), ElementsAre("2 text: Unrecognized -loglevel value: "s + number +
                                           ".  Skipping log level override."));
    }
}

struct MaskCase
{
    const char* value;
    std::uint64_t mask; ///< what the option sets; 0 where it leaves the setting alone
    std::vector<const char*> unrecognized;
};

template <typename Mask>
void ExpectMasks(const std::vector<MaskCase>& cases, void (*parse)(const std::string&),
                 std::atomic<Mask>& setting, const std::string& option, const std::string& subject)
{
    for (const MaskCase& row : cases) {
        TestSupport::ClearLog();
        const Mask before = setting;
        const std::uint32_t level = Log::m_level;
        parse(row.value);

        std::vector<std::string> expected;
        for (const char* token : row.unrecognized) {
            expected.push_back("2 line: Unrecognized log " + subject + " bitfield: " + token + ".");
        }
        if (row.mask == 0) {
            expected.push_back("1 line: Ignoring " + option +
                               " option because the specified value is invalid.");
        }
        EXPECT_EQ(Printed(), expected) << row.value;
        EXPECT_EQ(setting, row.mask == 0 ? before : static_cast<Mask>(row.mask)) << row.value;
        EXPECT_EQ(Log::m_level, level) << row.value;
    }
}

TEST_F(LogUtilsTest, ZonesAndIOPipes)
{
    constexpr std::uint64_t Every = ~std::uint64_t{0};
    ExpectMasks({{"application", 1U << 0, {}},
                 {"capture", 1U << 1, {}},
                 {"data|playback", 1U << 3 | 1U << 4, {}},
                 {"Core:capture|UTIL:core", 1U << 1 | 1U << 2 | 1U << 5, {}},
                 {"core:ALL:Nonsense", Every, {"nonsense"}},
                 {"|core||data:", 1U << 2 | 1U << 3, {"", "", ""}},
                 {"cor|corey|core", 1U << 2, {"cor", "corey"}},
                 {"%s%n|5", 0, {"%s%n", "5"}},
                 {"", 0, {}}},
                &ParseCmdArgsLogZone, Log::m_zoneMask, "-logzones", "zone");
    ExpectMasks({{"debugger", 1, {}},
                 {"File:Console", 6, {}},
                 {"file|all", 0xFFFFFFFF, {}},
                 {" console", 0, {" console"}},
                 {"core|file", 4, {"core"}}},
                &ParseCmdArgsLogIOPipe, Log::m_ioPipeMask, "-logiopipe", "iopipe");
}

} // namespace
