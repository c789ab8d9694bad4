#include "Core/Log.h"

#include "host/LogFixture.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <map>
#include <sstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

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
    const auto leave = [] { EXPECT_TRUE(Log::SetFileWriter(nullptr)); };
    for (void (*const behave)() : {+throwAnything, +log, +changeErrno, +leave}) {
        s_toDebugger.clear();
        Log::m_ioPipeMask = File | Debugger;
        Log::SetFileWriter(std::make_shared<BadWriter>(behave));
        errno = EAGAIN;
        EXPECT_NO_THROW(Say("text"));
        EXPECT_EQ(errno, EAGAIN);
        EXPECT_THAT(s_toDebugger, ElementsAre(HasSubstr("text")));
    }
    EXPECT_FALSE(Log::SetFileWriter(nullptr));
    Say("nowhere");
}

TEST_F(LogTest, OutputsThatWereThereBeforeAreGivenBack)
{
    Log::m_ioPipeMask = File | Debugger;
    const auto file = Log::SetFileWriter(nullptr);
    const Log::DebuggerSink sink = Log::SetDebuggerSink(nullptr);
    EXPECT_EQ(file, m_writer);
    EXPECT_EQ(Log::SetDebuggerSink(sink), nullptr);
    EXPECT_FALSE(Log::SetFileWriter(file));
    Say("text");
    EXPECT_THAT(InFile(), HasSubstr("text"));
    EXPECT_THAT(s_toDebugger, ElementsAre(HasSubstr("text")));
}

/// Runs a child that was forked here to its end.
///
/// @return its exit status, or the number of the signal that ended it; -1 when it hung
template <typename Action>
int InChild(Action&& action)
{
    const pid_t child = fork();
    if (child == 0) {
        action();
        _exit(0);
    }
    int status = 0;
    for (int round = 0; round < 1000; ++round) {
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
        }
        usleep(5'000);
    }
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return -1;
}

TEST_F(LogTest, ChildForkedWhileAThreadLogsCanLog)
{
    Log::m_ioPipeMask = File | Debugger;
    Log::SetDebuggerSink([](const char*) { usleep(1'000); });
    std::atomic<bool> isOver{false};
    std::thread logging([&] {
        while (!isOver) {
            Say("parent");
            Log::SetFileWriter(m_writer);
        }
    });
    int hung = 0;
    for (int round = 0; round < 50; ++round) {
        hung += InChild([] { Say("child"); }) != 0;
        if (hung > 0) {
            break;
        }
    }
    isOver = true;
    logging.join();
    EXPECT_EQ(hung, 0);
}

TEST_F(LogTest, FailedWritesEndNoProcess)
{
    // A log file at the limit of its size, a terminal that is gone.
    EXPECT_EQ(InChild([] {
                  Log::m_ioPipeMask = File;
                  const rlimit none{};
                  setrlimit(RLIMIT_FSIZE, &none);
                  Say("text");
              }),
              0);
    EXPECT_EQ(InChild([] {
                  Log::m_ioPipeMask = Console;
                  int ends[2];
                  if (pipe(ends) == 0 && dup2(ends[1], STDERR_FILENO) >= 0) {
                      close(ends[0]);
                  }
                  Say("text");
              }),
              0);
}

TEST_F(LogTest, LogFileTakesNoStandardDescriptor)
{
    const std::string name = m_folder.File("late");
    EXPECT_EQ(InChild([&name] {
                  Log::m_ioPipeMask = Console | File;
                  close(STDERR_FILENO);
                  const auto writer = std::make_shared<Core::StdioWriter>(name, true, true);
                  writer->Open();
                  Log::SetFileWriter(writer);
                  Say("once");
              }),
              0);
    EXPECT_EQ(TestSupport::ReadFile(name), "warning [util] File.cpp:12: once\n");
}

TEST_F(LogTest, ProcessesKeepLongLinesWhole)
{
    const std::string name = m_folder.File("common");
    const auto writer = std::make_shared<Core::StdioWriter>(name, true, true);
    ASSERT_EQ(writer->Open(), 0U);
    Log::SetFileWriter(writer);
    Log::m_ioPipeMask = File;
    const auto log = [](char mark) {
        for (int line = 0; line < 500; ++line) {
            Say(std::string(10'000, mark).c_str());
        }
    };
    std::thread parent([&] { log('a'); });
    EXPECT_EQ(InChild([&] { log('b'); }), 0);
    parent.join();
    std::istringstream lines(TestSupport::ReadFile(name));
    int whole = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::string text = line.substr(std::min(line.rfind(' ') + 1, line.size()));
        whole += text == std::string(10'000, 'a') || text == std::string(10'000, 'b');
    }
    EXPECT_EQ(whole, 1000);
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
