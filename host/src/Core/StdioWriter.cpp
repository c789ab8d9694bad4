#include "Core/StdioWriter.h"

namespace Core {

// By reference, as hosts have always declared it.
// NOLINTNEXTLINE(modernize-pass-by-value)
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
    if (!m_pFile || std::fputs(text, m_pFile) < 0) {
        return 1;
    }
    return m_flushLines && std::fflush(m_pFile) != 0 ? 1 : 0;
}

std::uint32_t StdioWriter::Open()
{
    if (m_pFile) {
        return 0;
    }
    // "e": a program that the process starts must not inherit the log.
    m_pFile = std::fopen(m_fileName.c_str(), m_startAfresh ? "we" : "ae");
    return m_pFile ? 0 : 1;
}

} // namespace Core
