#pragma once

#include "shared/Picture.h"

#include <cstdint>
#include <sys/types.h>

/// What a process under framegrab tells the launcher: records at the end of one file in the session's folder.
/// Part of the hook library, so it needs nothing but the C library.
namespace Framegrab {

/// Names the session's folder to the program and to every process that it starts.
inline constexpr const char* SessionVariable = "FRAMEGRAB_SESSION";

/// First byte of a record.
enum class RecordKind : char
{
    HooksLoaded = 'L', ///< a process began with the hooks in it
    FirstSwap = 'P',   ///< a process swapped for the first time
    File = 'F',        ///< `picture` was taken; `text` is the file's name in the output folder
    FrameDone =
        'D',       ///< all of `picture`'s frame was dealt with; status 0: each is in a file or does not exist
    Message = 'M', ///< `text` is for the user
    Log = 'G',     ///< `text` is a line of the log that goes to the console
};

struct RecordFields
{
    const Picture* picture = nullptr;
    const char* text = ""; ///< cut after 4,000 bytes
};

/// What a record in the file begins with; its picture and its text follow.
struct RecordHead
{
    RecordKind kind{};
    bool hasPicture = false;
    std::uint16_t textSize = 0; ///< in bytes
    pid_t process = 0;
};

/// Appends one record to the session's file.
///
/// The file is opened for this one write: a program may close descriptors that it did not open, and a child
/// of it inherits none. One write to a file in append mode is never mixed with another process's.
///
/// @param folder  the session's folder
/// @return whether the record was written
/// @note Any thread. Leaves `errno` as it was.
bool AppendRecord(const char* folder, RecordKind kind, const RecordFields& fields) noexcept;

} // namespace Framegrab
