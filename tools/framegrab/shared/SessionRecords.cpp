#include "shared/SessionRecords.h"

#include "QuietWrite.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace Framegrab {

bool AppendRecord(const char* folder, RecordKind kind, const RecordFields& fields) noexcept
{
    const int savedErrno = errno;
    char path[PATH_MAX];
    char record[4096];
    bool isWritten = false;

    const int pathLength = std::snprintf(path, sizeof(path), "%s/records", folder);
    const int length = std::snprintf(record, sizeof(record), "%c%.4000s",
                                     static_cast<char>('0' + static_cast<char>(kind)), fields.text);
    if (pathLength > 0 && pathLength < static_cast<int>(sizeof(path)) && length > 0) {
        const int file = open(path, O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW);
        if (file >= 0) {
            // The terminating zero goes along: it ends the record.
            isWritten = Core::WriteWhole(file, {record, static_cast<std::size_t>(length) + 1});
            close(file);
        }
    }
    errno = savedErrno;
    return isWritten;
}

} // namespace Framegrab
