#pragma once

#include <csignal>
#include <string_view>

namespace Core {

/// Keeps a write from ending the process, until the end of the scope: a file beyond the size limit and a pipe
/// that nobody reads raise signals, which this thread then meets as errors of the call alone.
class QuietWrite
{
public:
    QuietWrite();
    QuietWrite(const QuietWrite&) = delete;
    QuietWrite& operator=(const QuietWrite&) = delete;
    ~QuietWrite();

private:
    sigset_t m_raised{};  ///< by a write of ours: those that were not waiting for this thread before
    sigset_t m_signals{}; ///< the mask of before
};

/// Writes a text to a descriptor, in one call of the system as far as it takes the text whole: lines of
/// several processes then do not mix.
///
/// @return whether all of it was written
bool WriteWhole(int descriptor, std::string_view text);

/// As `open`, with a mode of 0666, but never with a descriptor of 0 to 2: where the program has closed one of
/// these, what it prints would end up in our file.
///
/// @return the descriptor, closed when the process starts another program; -1 where the file cannot be opened
int OpenAboveStandard(const char* path, int flags);

} // namespace Core
