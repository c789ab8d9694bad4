#pragma once

#include "Core/Export.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace Core {

/// A log file on a C stream. Closed by the destructor. Its descriptor is never one of 0 to 2, and a write
/// that fails raises no signal.
class CORE_EXPORT StdioWriter
{
public:
    /// Remembers the arguments; opens nothing yet.
    ///
    /// @param fileName    path of the file
    /// @param startAfresh true: `Open` empties an existing file; false: `Open` appends to it
    /// @param flushLines  true: each `Write` reaches the file before it returns, in one write, so that lines
    ///                    of several processes stay whole
    StdioWriter(const std::string& fileName, bool startAfresh, bool flushLines);
    StdioWriter(const StdioWriter&) = delete;
    StdioWriter& operator=(const StdioWriter&) = delete;
    virtual ~StdioWriter();

    /// Appends a text to the open file.
    ///
    /// @return 0; 1 when the file is not open or could not be written
    virtual std::uint32_t Write(const char* text);

    /// @return 0; 1 when the file cannot be opened, or its name holds a zero
    virtual std::uint32_t Open();

private:
    std::string m_fileName;
    bool m_startAfresh;
    bool m_flushLines;
    FILE* m_pFile = nullptr;
};

} // namespace Core
