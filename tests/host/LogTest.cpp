#include "Core/Log.h"

#include "host/LogFixture.h"

#include <cerrno>
#include <map>
#include <sstream>
#include <thread>

namespace {

using Core::Log;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

constexpr std::uint32_t Console = 1U << Log::PipeConsole;
constexpr std::uint32_t Debugger = 1U << Log::PipeDebugger;
constexpr std::uint32_t File = 1U << Log::PipeFile;

using LogTest = TestSupport::LogFixture;

void Say(const char* text)
{
    Log::Print(Log::LevelWarning, Log::ZoneUtil, 12, "File.cpp", true, "%s", text);
}

TEST_F(LogTest, LevelAndZoneDecide)
{
    const struct
    {
        std::uint32_t level;
        std::uint32_t zone;
        bool isPrinted;
    } cases[] = {
        {Log::LevelNotice, Log::ZoneUtil, true},
        {Log::LevelNote, Log::ZoneUtil, false},
        {Log::LevelAlways, Log::ZoneCore, false},
        {Log::LevelNotice, 63, true},
        {Log::LevelNotice, 64, false},
        {0xFFFFFFFF, Log::ZoneUtil, false},
    };
    Log::m_level = Log::LevelNotice;
    Log::m_zoneMask = ~(std::uint64_t{1} << Log::ZoneCore);
    Log::m_ioPipeMask = Debugger;
    for (const auto& [level, zone, isPrinted] : cases) {
        s_toDebugger.clear();
        Log::Print(static_cast<Log::LogLevel>(level), static_cast<Log::LogZone>(zone), 1, "", true, "text");
        EXPECT_EQ(s_toDebugger.size(), isPrinted ? 1U : 0U) << level << ' ' << zone;
    }
}

TEST_F(LogTest, PipesDecide)
{
    std::string expectedInFile;
    for (std::uint32_t pipes = 0; pipes < 8; ++pipes) {
        s_toDebugger.clear();
        Log::m_ioPipeMask = pipes;
        const std::string text = std::to_string(pipes);
        const std::string console =
            OnConsole([&] { Log::Print(Log::LevelError, Log::ZoneUtil, 1, "", false, "%u", pipes); });
        EXPECT_EQ(console, pipes & Console ? text : "") << pipes;
        EXPECT_EQ(s_toDebugger.size(), pipes & Debugger ? 1U : 0U) << pipes;
        expectedInFile += pipes & File ? text : "";
        EXPECT_EQ(InFile(), expectedInFile) << pipes;
    }
}

TEST_F(LogTest, Texts)
{
    const std::string text(100'000, 'x');
    Log::m_ioPipeMask = Debugger;
    Say(text.c_str());
    Log::Print(Log::LevelWarning, Log::ZoneUtil, 12, "File.cpp", false, "%d %s", 3, "words");
    Log::Print(Log::LevelWarning, Log::ZoneUtil, 12, "File.cpp", false, "wide %ls", L"\x7FFFFFFF");
    Log::Print(Log::LevelError, static_cast<Log::LogZone>(40), 12, "File.cpp", true, "text");
    Core::Console::Print(Log::LevelError, true, "text");
    EXPECT_THAT(s_toDebugger, ElementsAre("warning [util] File.cpp:12: " + text + "\n", "3 words", "wide %ls",
                                          "error [?] File.cpp:12: text\n", "error [core] text\n"));
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
    const auto throwAnything = [] { throw 1; };
    const auto log = [] { Say("from the writer"); };
    const auto changeErrno = [] { errno = EIO; };
    for (void (*const behave)() : {+throwAnything, +log, +changeErrno}) {
        s_toDebugger.clear();
        Log::m_ioPipeMask = File | Debugger;
        Log::SetFileWriter(std::make_shared<BadWriter>(behave));
        errno = EAGAIN;
        EXPECT_NO_THROW(Say("text"));
        EXPECT_EQ(errno, EAGAIN);
        EXPECT_THAT(s_toDebugger, ElementsAre(HasSubstr("text")));
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
    std::map<std::string, int> counts;
    std::istringstream lines(InFile());
    for (std::string line; std::getline(lines, line);) {
        ++counts[line];
    }
    EXPECT_THAT(counts, ElementsAre(Pair(prefix + std::string(100, 'a'), Lines),
                                    Pair(prefix + std::string(100, 'b'), Lines)));
}

} // namespace
