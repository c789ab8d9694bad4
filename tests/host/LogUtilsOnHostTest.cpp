#include "Util/LogUtils.h"
#include "host/LogFixture.h"

#include <fstream>

namespace {

using namespace Util;
using Core::Log;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

using LogUtilsOnHost = TestSupport::LogFixture;

TEST_F(LogUtilsOnHost, LogFile)
{
    const std::string fileName = m_folder.File("trace.log");
    std::ofstream(fileName) << "of the last run\n";
    Log::m_ioPipeMask = 1U << Log::PipeFile;
    {
        const auto writer = LoggerCreateStdioWriter(m_folder.File("trace"));
        Log::SetFileWriter(writer);
        Log::Print(Log::LevelError, Log::ZoneApplication, 7, "", false, "one\n");
        EXPECT_EQ(TestSupport::ReadFile(fileName), "one\n") << "afresh, and flushed at once";
        std::ofstream(fileName, std::ios::app) << "by another process\n";
    }
    Log::Print(Log::LevelError, Log::ZoneApplication, 8, "", false, "two\n");
    EXPECT_EQ(TestSupport::ReadFile(fileName), "one\nby another process\ntwo\n");
    EXPECT_EQ(Log::m_ioPipeMask, 1U << Log::PipeFile);

    const std::string before = TestSupport::ReadFile(fileName);
    LoggerCreateStdioWriter(fileName + std::string("\0more", 5));
    EXPECT_EQ(TestSupport::ReadFile(fileName), before) << "emptied by a name that begins with its own";
    EXPECT_EQ(Log::m_ioPipeMask, 0U);
}

TEST_F(LogUtilsOnHost, LogFileThatCannotBeOpened)
{
    Log::m_ioPipeMask = 1U << Log::PipeFile | 1U << Log::PipeConsole;
    const std::string console = OnConsole([&] {
        const auto writer = LoggerCreateStdioWriter(m_folder.File("missing/trace"));
        ASSERT_TRUE(writer);
        EXPECT_EQ(writer->Write("text"), 1U);
    });
    EXPECT_THAT(console, StartsWith("warning [application] LogUtils.cpp:"));
    EXPECT_THAT(console, EndsWith(": Could not open logger writer, turning off file logging.\n"));
    EXPECT_EQ(Log::m_ioPipeMask, 1U << Log::PipeConsole);
    EXPECT_EQ(InFile(), "");
}

TEST_F(LogUtilsOnHost, WarningsAreSeenWithEverythingOff)
{
    Log::m_level = Log::LevelAlways;
    Log::m_zoneMask = 0;
    Log::m_ioPipeMask = 1U << Log::PipeConsole;
    EXPECT_EQ(OnConsole([] { ParseCmdArgsLogLevel("9"); }),
              "Unrecognized -loglevel value: 9.  Skipping log level override.");
    EXPECT_EQ(OnConsole([] { ParseCmdArgsLogZone("x"); }),
              "warning [core] Unrecognized log zone bitfield: x.\n");
    EXPECT_EQ(OnConsole([] { ParseCmdArgsLogIOPipe("x"); }),
              "warning [core] Unrecognized log iopipe bitfield: x.\n");
    EXPECT_EQ(OnConsole([] { ParseCmdArgsLogZone(""); }), "");
    EXPECT_EQ(Log::m_level, Log::LevelAlways);
    EXPECT_EQ(Log::m_zoneMask, 0U);
}

TEST_F(LogUtilsOnHost, OptionsKnowTheZonesThatTheLoggerNames)
{
    Log::m_ioPipeMask = 1U << Log::PipeDebugger;
    std::uint64_t named = 0;
    for (std::uint32_t bit = 0; bit < 64; ++bit) {
        Log::m_zoneMask = std::uint64_t{1} << bit;
        s_toDebugger.clear();
        Log::Print(Log::LevelError, static_cast<Log::LogZone>(bit), 1, "", true, "text");
        const std::string line = s_toDebugger.at(0);
        const std::string name = line.substr(line.find('[') + 1, line.find(']') - line.find('[') - 1);
        if (name != "?") {
            Log::m_zoneMask = 0;
            ParseCmdArgsLogZone(name);
            EXPECT_EQ(Log::m_zoneMask, std::uint64_t{1} << bit) << name;
            named |= std::uint64_t{1} << bit;
        }
    }
    EXPECT_EQ(named, 0x3000FFU);
}

TEST_F(LogUtilsOnHost, ProgressErasesItself)
{
    Log::m_level = Log::LevelNotice;
    Log::m_ioPipeMask = 7;
    EXPECT_EQ(OnConsole([] { PrintMessageAndBackspaces("50 %"); }), "50 %\b\b\b\b");
    EXPECT_EQ(InFile(), "");
    EXPECT_THAT(s_toDebugger, IsEmpty());
    EXPECT_EQ(Log::m_ioPipeMask, 7U);
}

} // namespace
