// A host of its own, in a page: all that the library wants of a host, without the host runtime.
//
//     OwnHost FILE     writes FILE.bmp, a picture of 2 x 2 pixels
//
// It has no driver, so every entry of its tables is null, and an operation that needs one answers 1. What the
// library logs goes to standard error.

#include "Core/BasicException.h"
#include "Core/Console.h"
#include "Core/KHRLayer.h"
#include "Core/Log.h"
#include "Core/StdioWriter.h"
#include "Core/System.h"
#include "Playback/PlaybackEnvironment.h"
#include "Util/GLScreenshotHandler.h"

#include <GLES3/gl3.h>

#include <array>
#include <cstdarg>
#include <cstdio>

namespace Core {

std::atomic<std::uint32_t> Log::m_level{Log::LevelWarning};
std::atomic<std::uint64_t> Log::m_zoneMask{~std::uint64_t{0}};
std::atomic<std::uint32_t> Log::m_ioPipeMask{1U << Log::PipeConsole};

void Log::Print(LogLevel level, LogZone /*zone*/, int line, const char* file, bool /*decorated*/,
                const char* format, ...)
{
    if (level > m_level) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    std::fprintf(stderr, "%s:%d: ", file, line);
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    va_end(arguments);
}

// The rest of the logger, for the logging options: a host that offers none may leave it empty.
void Log::SetZoneBit(LogZone /*zone*/, bool /*on*/) {}
void Log::SetIOPipeBit(LogIOPipe /*pipe*/, bool /*on*/) {}
void Console::Print(Log::LogLevel /*level*/, bool /*decorated*/, const char* /*format*/, ...) {}

StdioWriter::StdioWriter(const std::string& fileName, bool startAfresh, bool flushLines)
    : m_fileName(fileName), m_startAfresh(startAfresh), m_flushLines(flushLines)
{}

StdioWriter::~StdioWriter()
{
    if (m_pFile) {
        std::fclose(m_pFile);
    }
}

std::uint32_t StdioWriter::Write(const char* text)
{
    const bool isWritten = m_pFile && std::fputs(text, m_pFile) >= 0;
    return isWritten && (!m_flushLines || std::fflush(m_pFile) == 0) ? 0 : 1;
}

std::uint32_t StdioWriter::Open()
{
    m_pFile = std::fopen(m_fileName.c_str(), m_startAfresh ? "we" : "ae");
    return m_pFile ? 0 : 1;
}

int System::Snprintf(char* buffer, std::size_t size, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

BasicException::BasicException(const std::string& message) : std::runtime_error(message) {}
BasicException::~BasicException() = default;

void* const* KHRLayer::GLESProc()
{
    static constexpr std::array<void*, 315> none{};
    return none.data();
}

void* const* KHRLayer::EGLProc()
{
    static constexpr std::array<void*, 24> none{};
    return none.data();
}

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

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: OwnHost FILE\n", stderr);
        return 2;
    }
    // Bottom row first: red, green; blue, white.
    constexpr std::array<std::uint8_t, 16> pixels{255, 0, 0,   255, 0,   255, 0,   255,
                                                  0,   0, 255, 255, 255, 255, 255, 255};
    Util::GLScreenshotHandler handler(Util::ScreenshotWriter::FormatBMP);
    return static_cast<int>(handler.WriteScreenshot(argv[1], 2, 2, pixels.data(), GL_RGBA, GL_UNSIGNED_BYTE));
}
