// The steps in a program that is a host of the library itself, with a sink and a log file of its own, which
// it has what it logged afterwards.

#include "Core/Log.h"
#include "Core/StdioWriter.h"
#include "Playback/PlaybackEnvironment.h"
#include "Util/PNGEncoding.h"

#include <cstdio>
#include <memory>
#include <string>

extern "C" int RunSteps(int count, char** steps);

namespace {

std::string s_received;

} // namespace

int main(int argc, char** argv)
{
    using Core::Log;
    const auto file = std::make_shared<Core::StdioWriter>(argv[1], true, true);
    file->Open();
    Log::SetFileWriter(file);
    Log::SetDebuggerSink([](const char* text) { s_received += text; });
    Log::m_ioPipeMask = 1U << Log::PipeDebugger | 1U << Log::PipeFile;
    Log::m_level = Log::LevelDebug;
    Playback::PlaybackEnvironment::Instance().m_opaqueScreenshots = true;

    const int status = RunSteps(argc - 2, argv + 2);
    Log::Print(Log::LevelDebug, Log::ZoneApplication, 0, nullptr, false, "mine\n");
    std::printf("%sopaque %d, encoding %d\n", s_received.c_str(),
                static_cast<int>(Playback::PlaybackEnvironment::Instance().m_opaqueScreenshots),
                static_cast<int>(Util::GetPNGEncoding()));
    return status;
}
