#include "Core/Log.h"

#include "host/LogFixture.h"

#include <map>
#include <sstream>
#include <thread>

namespace {

using Core::Log;
using testing::ElementsAre;
using testing::Pair;

constexpr std::uint32_t Console = 1U << Log::PipeConsole;
constexpr std::uint32_t Debugger = 1U << Log::PipeDebugger;
constexpr std::uint32_t File = 1U << Log::PipeFile;

using LogTest = TestSupport::LogFixture;

void Say(const char* text)
{
    Log::Print(Log::LevelWarning, Log::ZoneUtil, 12, "File.cpp", true, "%s", text);
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
