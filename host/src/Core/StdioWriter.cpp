#include "Core/StdioWriter.h"

#include "Descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace Core {

// By reference, as hosts have always declared it.
// NOLINTNEXTLINE(modernize-pass-by-value)
StdioWriter::StdioWriter(const std::string& fileName, bool startAfresh, bool flushLines)
    : m_fileName(fileName), m_startAfresh(startAfresh), m_flushLines(flushLines)
{}

StdioWriter::~StdioWriter()
{
    if (m_pFile) {
        const QuietWrite quiet;
        std::fclose(m_pFile);
    }
}

std::uint32_t StdioWriter::Write(const char* text)
{
    if (!m_pFile) {
        return 1;
    }
    if (m_flushLines) {
        // Past the stream, which would cut a long text into several writes.
        return WriteWhole(fileno(m_pFile), text) ? 0 : 1;
    }
    const QuietWrite quiet;
    return std::fputs(text, m_pFile) < 0 ? 1 : 0;
}

std::uint32_t StdioWriter::Open()
{
    if (m_pFile) {
        return 0;
    }
    // A path ends at its first zero: what stands before one in the name is another file.
    if (m_fileName.find('\0') != std::string::npos) {
        return 1;
    }
    const int flags = O_WRONLY | O_CREAT | O_APPEND | (m_startAfresh ? O_TRUNC : 0);
    const int descriptor = OpenAboveStandard(m_fileName.c_str(), flags);
    if (descriptor < 0) {
        return 1;
    }
    m_pFile = fdopen(descriptor, "a");
    if (!m_pFile) {
        close(descriptor);
    }
    return m_pFile ? 0 : 1;
}

} // namespace Core
