// A host that counts messages and has no driver.

#include "Core/BasicException.h"
#include "Core/Console.h"
#include "Core/KHRLayer.h"
#include "Core/Log.h"
#include "Core/StdioWriter.h"
#include "Core/System.h"
#include "Playback/PlaybackEnvironment.h"

#include <array>
#include <cstdarg>
#include <utility>

__attribute__((visibility("default"))) int messagesOfOwnHost = 0;

namespace Core {

std::atomic<std::uint32_t> Log::m_level{Log::LevelNote};
std::atomic<std::uint64_t> Log::m_zoneMask{~std::uint64_t{0}};
std::atomic<std::uint32_t> Log::m_ioPipeMask{~std::uint32_t{0}};

void Log::Print(LogLevel, LogZone, int, const char*, bool, const char*, ...)
{
    ++messagesOfOwnHost;
}

void Log::SetZoneBit(LogZone, bool) {}

void Log::SetIOPipeBit(LogIOPipe, bool) {}

void Console::Print(Log::LogLevel, bool, const char*, ...)
{
    ++messagesOfOwnHost;
}

int System::Snprintf(char* buffer, std::size_t size, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

void* const* KHRLayer::GLESProc()
{
    static constexpr std::array<void*, 320> none{};
    return none.data();
}

void* const* KHRLayer::EGLProc()
{
    return GLESProc();
}

StdioWriter::StdioWriter(const std::string&, bool, bool) {}

StdioWriter::~StdioWriter() = default;

std::uint32_t StdioWriter::Write(const char*)
{
    return 1;
}

std::uint32_t StdioWriter::Open()
{
    return 1;
}

#ifndef WITHOUT_EXCEPTIONS
BasicException::BasicException(const std::string& message) : std::runtime_error(message) {}

BasicException::~BasicException() = default;
#endif

} // namespace Core

namespace Playback {

PlaybackEnvironment* PlaybackEnvironment::m_pInstance = nullptr;

PlaybackEnvironment& PlaybackEnvironment::Instance()
{
    static PlaybackEnvironment instance;
    m_pInstance = &instance;
    return instance;
}

void PlaybackEnvironment::InitDefaultSettings() {}

} // namespace Playback
