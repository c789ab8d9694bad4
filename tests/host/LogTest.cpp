#include "Core/Log.h"

#include "host/LogFixture.h"

#include <cerrno>
#include <stdexcept>
#include <thread>

namespace {

using Core::Log;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::uint32_t Console = 1U << Log::PipeConsole;
constexpr std::uint32_t Debugger = 1U << Log::PipeDebugger;
constexpr std::uint32_t File = 1U << Log::PipeFile;

class LogTest : public TestSupport::LogFixture
{};

void Say(const char* text)
{
    Log::Print(Log::LevelWarning, Log::ZoneUtil, 12, "File.cpp", true, "%s", text);
}

TEST_F(LogTest, LevelAndZoneDecide)
{
    const struct
    {
        Log::LogLevel level;
        Log::LogZone zone;
        bool isPrinted;
    } cases[] = {
        {Log::LevelError, Log::ZoneUtil, true},
        {Log::LevelNotice, Log::ZoneUtil, true},
        {Log::LevelNote, Log::ZoneUtil, false},
        {Log::LevelNotice, Log::ZonePlaybackObjectId, true},
        {Log::LevelNotice, Log::ZoneCore, false},
        {Log::LevelAlways, Log::ZoneCore, false},
        {Log::LevelNotice, static_cast<Log::LogZone>(63), true},
        {Log::LevelNotice, static_cast<Log::LogZone>(64), false},
        {static_cast<Log::LogLevel>(0xFFFFFFFF), Log::ZoneUtil, false},
    };
    Log::m_level = Log::LevelNotice;
    Log::m_zoneMask = ~(std::uint64_t{1} << Log::ZoneCore);
    Log::m_ioPipeMask = Debugger;
    for (const auto& row : cases) {
        ToDebugger().clear();
        Log::Print(row.level, row.zone, 1, "File.cpp", true, "text");
        EXPECT_EQ(ToDebugger().size(), row.isPrinted ? 1U : 0U) << row.level << ' ' << row.zone;
    }
}

TEST_F(LogTest, PipesDecide)
{
    std::string expectedInFile;
    for (std::uint32_t pipes = 0; pipes < 8; ++pipes) {
        ToDebugger().clear();
        Log::m_ioPipeMask = pipes;
        const std::string text = std::to_string(pipes);
        const std::string console =
            OnConsole([&] { Log::Print(Log::LevelError, Log::ZoneUtil, 1, "", false, "%u", pipes); });
        EXPECT_EQ(console, pipes & Console ? text : "") << pipes;
        EXPECT_EQ(ToDebugger().size(), pipes & Debugger ? 1U : 0U) << pipes;
        expectedInFile += pipes & File ? text : "";
        EXPECT_EQ(InFile(), expectedInFile) << pipes;
    }
}

TEST_F(LogTest, DecorationMakesALine)
{
    Log::m_ioPipeMask = Debugger;
    Log::Print(Log::LevelWarning, Log::ZoneUtil, 12, "File.cpp", true, "%d %s", 3, "words");
    Log::Print(Log::LevelWarning, Log::ZoneUtil, 12, "File.cpp", false, "%d %s", 3, "words");
    Log::Print(static_cast<Log::LogLevel>(1), static_cast<Log::LogZone>(40), 12, "File.cpp", true, "text");
    Core::Console::Print(Log::LevelError, true, "text");
    EXPECT_THAT(ToDebugger(), ElementsAre("warning [util] File.cpp:12: 3 words\n", "3 words",
                                          "error [?] File.cpp:12: text\n", "error [core] text\n"));
}

TEST_F(LogTest, BitsBeyondTheMasksAreIgnored)
{
    Log::m_zoneMask = 0;
    Log::m_ioPipeMask = 0;
    Log::SetZoneBit(static_cast<Log::LogZone>(63), true);
    Log::SetZoneBit(static_cast<Log::LogZone>(64), true);
    Log::SetIOPipeBit(static_cast<Log::LogIOPipe>(31), true);
    Log::SetIOPipeBit(static_cast<Log::LogIOPipe>(32), true);
    EXPECT_EQ(Log::m_zoneMask, std::uint64_t{1} << 63);
    EXPECT_EQ(Log::m_ioPipeMask, 1U << 31);
    Log::SetZoneBit(static_cast<Log::LogZone>(63), false);
    Log::SetIOPipeBit(static_cast<Log::LogIOPipe>(31), false);
    EXPECT_EQ(Log::m_zoneMask, 0U);
    EXPECT_EQ(Log::m_ioPipeMask, 0U);
}

TEST_F(LogTest, MessagesOfAnyLengthArriveWhole)
{
    Log::m_ioPipeMask = File | Debugger;
    const std::string text(3'000'000, 'x');
    Say(text.c_str());
    const std::string line = "warning [util] File.cpp:12: " + text + "\n";
    EXPECT_TRUE(InFile() == line);
    EXPECT_TRUE(ToDebugger().at(0) == line);
}

TEST_F(LogTest, WhatCannotBeFormattedShowsItsFormat)
{
    Log::m_ioPipeMask = Debugger;
    Log::Print(Log::LevelWarning, Log::ZoneUtil, 12, "File.cpp", false, "wide %ls", L"\x7FFFFFFF");
    EXPECT_THAT(ToDebugger(), ElementsAre("wide %ls"));
}

class BadWriter : public Core::StdioWriter
{
public:
    explicit BadWriter(void (*behave)()) : StdioWriter("", true, true), m_behave(behave) {}
    std::uint32_t Write(const char* /*text*/) override
    {
        m_behave();
        return 1;
    }

private:
    void (*m_behave)();
};

TEST_F(LogTest, OutputsThatFailHarmNobody)
{
    const auto throwException = [] { throw std::runtime_error("no disk"); };
    const auto throwOther = [] { throw 1; };
    const auto log = [] { Say("from the writer"); };
    const auto changeErrno = [] { errno = EIO; };
    for (void (*const behave)() : {+throwException, +throwOther, +log, +changeErrno}) {
        ToDebugger().clear();
        Log::m_ioPipeMask = File | Debugger;
        Log::SetFileWriter(std::make_shared<BadWriter>(behave));
        errno = EAGAIN;
        EXPECT_NO_THROW(Say("text"));
        EXPECT_EQ(errno, EAGAIN);
        EXPECT_THAT(ToDebugger(), ElementsAre(HasSubstr("text")));
    }
    Log::SetFileWriter(nullptr);
    Say("nowhere");
}

TEST_F(LogTest, ThreadsKeepTheirLinesWhole)
{
    Log::m_ioPipeMask = File;
    constexpr int Lines = 300;
    const auto log = [](char mark) {
        for (int line = 0; line < Lines; ++line) {
            Say(std::string(100, mark).c_str());
        }
    };
    std::thread a(log, 'a');
    std::thread b(log, 'b');
    // Another that changes all that the logger reads.
    for (int round = 0; round < Lines; ++round) {
        Log::SetFileWriter(m_writer);
        Log::SetZoneBit(Log::ZoneCore, round % 2 == 0);
        Log::SetIOPipeBit(Log::PipeConsole, false);
        Log::SetDebuggerSink(nullptr);
    }
    a.join();
    b.join();

    const std::string prefix = "warning [util] File.cpp:12: ";
    const std::string contents = InFile();
    const std::size_t length = prefix.size() + 101;
    ASSERT_EQ(contents.size(), 2 * Lines * length);
    for (std::size_t start = 0; start < contents.size(); start += length) {
        const char mark = contents[start + prefix.size()];
        ASSERT_EQ(contents.substr(start, length), prefix + std::string(100, mark) + "\n");
    }
}

} // namespace
