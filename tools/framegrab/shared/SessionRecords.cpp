#include "shared/SessionRecords.h"

#include "Descriptors.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace Framegrab {

void AppendRecord(const char* folder, RecordKind kind, const char* text) noexcept
{
    const int savedErrno = errno;
    char path[PATH_MAX];
    char record[4096];
    const int pathLength = std::snprintf(path, sizeof(path), "%s/records", folder);
    const int length = std::snprintf(record, sizeof(record), "%c%.4000s",
                                     static_cast<char>('0' + static_cast<char>(kind)), text);
    if (pathLength > 0 && pathLength < static_cast<int>(sizeof(path)) && length > 0) {
        const int file = open(path, O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW);
        if (file >= 0) {
            // The terminating zero goes along: it ends the record.
            Core::WriteWhole(file, {record, static_cast<std::size_t>(length) + 1});
            close(file);
        }
    }
    errno = savedErrno;
}

} // namespace Framegrab
