#include "Util/LogUtils.h"

#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Util;
using Core::Log;
using testing::ElementsAre;
using testing::IsEmpty;

class LogUtilsTest : public testing::Test
{
protected:
    LogUtilsTest() { TestSupport::ClearLog(); }
    ~LogUtilsTest() override { TestSupport::ClearLog(); }

    const std::uint32_t m_level = Log::m_level;
    const std::uint64_t m_zones = Log::m_zoneMask;
    const std::uint32_t m_pipes = Log::m_ioPipeMask;
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
    const struct
    {
        const char* value;
        std::uint32_t level;
    } cases[] = {{"0", 0}, {"3", 3}, {"03", 3}, {"0x5", 5}, {" 4 ", 4}, {"debug", 0}, {"", 0}};
    for (const auto& [value, level] : cases) {
        TestSupport::ClearLog();
        ParseCmdArgsLogLevel(value);
        EXPECT_EQ(Log::m_level, level) << value;
        EXPECT_THAT(Printed(), IsEmpty()) << value;
    }
}

TEST_F(LogUtilsTest, LevelThatIsNone)
{
    const struct
    {
        const char* value;
        const char* number;
    } cases[] = {{"6", "6"}, {"-1", "-1"}, {"0x80000000", "-2147483648"}};
    for (const auto& [value, number] : cases) {
        TestSupport::ClearLog();
        Log::m_level = 1;
        ParseCmdArgsLogLevel(value);
        EXPECT_EQ(Log::m_level, 1U) << value;
        EXPECT_EQ(Log::m_zoneMask, m_zones) << value;
        EXPECT_THAT(Printed(), ElementsAre("2 text: Unrecognized -loglevel value: " + std::string(number) +
                                           ".  Skipping log level override."));
        EXPECT_EQ(TestSupport::LogEntries().at(0).hostLevel, 2U);
        EXPECT_EQ(TestSupport::LogEntries().at(0).hostZoneMask, m_zones | 1U << Log::ZoneCore);
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

TEST_F(LogUtilsTest, Zones)
{
    constexpr std::uint64_t Every = ~std::uint64_t{0};
    ExpectMasks({{"application", 1U << 0, {}},
                 {"capture", 1U << 1, {}},
                 {"core", 1U << 2, {}},
                 {"data", 1U << 3, {}},
                 {"playback", 1U << 4, {}},
                 {"util", 1U << 5, {}},
                 {"dll", 1U << 6, {}},
                 {"stats", 1U << 7, {}},
                 {"apicalls", 1U << 20, {}},
                 {"playbackobjectid", 1U << 21, {}},
                 {"all", Every, {}},
                 {"Capture|UTIL", 1U << 1 | 1U << 5, {}},
                 {"capture:capture|core", 1U << 1 | 1U << 2, {}},
                 {"all|core", Every, {}},
                 {"core:ALL:nonsense", Every, {"nonsense"}},
                 {"Capture:Nonsense", 1U << 1, {"nonsense"}},
                 {"|core||data:", 1U << 2 | 1U << 3, {"", "", ""}},
                 {"cor|corey|core", 1U << 2, {"cor", "corey"}},
                 {"nonsense", 0, {"nonsense"}},
                 {"%s%n|5", 0, {"%s%n", "5"}},
                 {"|", 0, {"", ""}},
                 {"", 0, {}}},
                &ParseCmdArgsLogZone, Log::m_zoneMask, "-logzones", "zone");
}

TEST_F(LogUtilsTest, IOPipes)
{
    ExpectMasks({{"debugger", 1, {}},
                 {"console", 2, {}},
                 {"file", 4, {}},
                 {"File:Console", 6, {}},
                 {"all", 0xFFFFFFFF, {}},
                 {"file|all", 0xFFFFFFFF, {}},
                 {" console", 0, {" console"}},
                 {"core|file", 4, {"core"}},
                 {"", 0, {}}},
                &ParseCmdArgsLogIOPipe, Log::m_ioPipeMask, "-logiopipe", "iopipe");
}

TEST_F(LogUtilsTest, OnlyWarningsAboutNamesAreShownRegardless)
{
    Log::m_level = 0;
    ParseCmdArgsLogZone("nonsense");
    ParseCmdArgsLogIOPipe("nonsense");
    const auto& entries = TestSupport::LogEntries();
    ASSERT_EQ(entries.size(), 4U);
    for (const std::size_t warning : {0U, 2U}) {
        EXPECT_EQ(entries[warning].hostLevel, 2U);
        EXPECT_EQ(entries[warning].hostZoneMask, m_zones | 1U << Log::ZoneCore);
        EXPECT_EQ(entries[warning + 1].hostLevel, 0U);
        EXPECT_EQ(entries[warning + 1].hostZoneMask, m_zones);
    }
}

TEST_F(LogUtilsTest, ProgressGoesToTheConsoleAlone)
{
    for (const std::string message : {"0123456789", "100 %d\xC3\xA9%n", ""}) {
        TestSupport::ClearLog();
        Log::m_ioPipeMask = 0x80000007;
        PrintMessageAndBackspaces(message);
        EXPECT_THAT(Printed(),
                    ElementsAre("3 text: " + message, "3 text: " + std::string(message.size(), '\b')));
        for (const TestSupport::LogEntry& entry : TestSupport::LogEntries()) {
            EXPECT_EQ(entry.hostPipeMask, 0x80000002);
        }
        EXPECT_EQ(Log::m_ioPipeMask, 0x80000007);
    }
}

TEST_F(LogUtilsTest, WriterOfAFileThatCannotBeOpened)
{
    const TestSupport::TemporaryFolder folder;
    const auto writer = LoggerCreateStdioWriter(folder.File("missing/trace"));
    EXPECT_TRUE(writer);
    EXPECT_EQ(Log::m_ioPipeMask, m_pipes & ~(1U << Log::PipeFile));
    ASSERT_EQ(TestSupport::LogEntries().size(), 1U);
    const TestSupport::LogEntry& entry = TestSupport::LogEntries()[0];
    EXPECT_EQ(entry.text, "Could not open logger writer, turning off file logging.");
    EXPECT_EQ(entry.level, Log::LevelWarning);
    EXPECT_EQ(entry.zone, Log::ZoneApplication);
    EXPECT_TRUE(entry.decorated && !entry.toConsole);
    EXPECT_EQ(entry.file, "LogUtils.cpp");
    EXPECT_GT(entry.line, 0);
}

TEST_F(LogUtilsTest, NothingIsThrownWithoutMemory)
{
    const TestSupport::TemporaryFolder folder;
    const std::string baseName = folder.File("trace");
    bool hasFailed = true;
    for (std::size_t index = 0; hasFailed; ++index) {
        TestSupport::ClearLog();
        bool isOpen = false;
        {
            const TestSupport::FailingNew failing(index);
            isOpen = LoggerCreateStdioWriter(baseName) != nullptr;
            hasFailed = failing.HasFailed();
        }
        EXPECT_EQ(isOpen, !hasFailed) << "allocation " << index;
        EXPECT_EQ(Log::m_ioPipeMask, hasFailed ? m_pipes & ~(1U << Log::PipeFile) : m_pipes);
    }
}

} // namespace
