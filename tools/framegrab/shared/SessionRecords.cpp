#include "shared/SessionRecords.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

namespace Framegrab {

bool AppendRecord(const char* folder, RecordKind kind, const RecordFields& fields) noexcept
{
    constexpr std::size_t MostText = 4000;
    const int savedErrno = errno;
    char path[PATH_MAX];
    bool isWritten = false;

    RecordHead head;
    head.kind = kind;
    head.process = getpid();
    head.hasPicture = fields.picture;
    head.textSize = static_cast<std::uint16_t>(strnlen(fields.text, MostText));
    const std::size_t pictureSize = fields.picture ? sizeof(Picture) : 0;
    const int pathLength = std::snprintf(path, sizeof(path), "%s/records", folder);
    if (pathLength > 0 && pathLength < static_cast<int>(sizeof(path))) {
        const int file = open(path, O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW);
        if (file >= 0) {
            const iovec parts[]{{&head, sizeof(head)},
                                {const_cast<Picture*>(fields.picture), pictureSize},
                                {const_cast<char*>(fields.text), head.textSize}};
            isWritten =
                writev(file, parts, 3) == static_cast<ssize_t>(sizeof(head) + pictureSize + head.textSize);
            close(file);
        }
    }
    errno = savedErrno;
    return isWritten;
}

} // namespace Framegrab
