#pragma once

#include <cstdint>

/// What a process under framegrab tells before it shares framegrab's memory, or when it cannot: records at
/// the end of one file in the session's folder. Part of the hook library, so it needs nothing but the C
/// library.
namespace Framegrab {

/// Names the session's folder to the program and to every process that it starts.
inline constexpr const char* SessionVariable = "FRAMEGRAB_SESSION";

enum class RecordKind : char
{
    HooksLoaded, ///< a process began with the hooks in it
    FirstSwap,   ///< a process that cannot be captured swapped for the first time
    Message,     ///< `text` is for the user

    // Not in the file: of what came through the memory.
    File,      ///< a picture was written, or was not
    FrameDone, ///< all of a frame was dealt with; status 0: each picture was read or does not exist
    Driver,    ///< `text` is what the process of `file` captures with: lines of a name, ": " and a value
    Log,       ///< `text` is a line of the log
};

/// Appends one record, of the first three kinds, to the session's file. One that cannot be written is lost.
///
/// The file is opened for this one write: a program may close descriptors that it did not open, and a child
/// of it inherits none. One write to a file in append mode is never mixed with another process's.
///
/// @param folder  the session's folder
/// @param text    cut after 4,000 bytes
/// @note Any thread. Leaves `errno` as it was.
void AppendRecord(const char* folder, RecordKind kind, const char* text = "") noexcept;

} // namespace Framegrab
