#pragma once

#include "Core/Export.h"
#include "Core/Log.h"

namespace Core {

/// Messages for the person at the terminal.
class CORE_EXPORT Console
{
public:
    /// Prints through the host's logger in zone "core".
    ///
    /// @param decorated  as for `Log::Print`
    /// @param format     printf format; its arguments follow
    static void Print(Log::LogLevel level, bool decorated, const char* format, ...)
        __attribute__((format(printf, 3, 4)));
};

} // namespace Core
