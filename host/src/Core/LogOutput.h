#pragma once

#include "Core/Log.h"

#include <cstdarg>

namespace Core {

struct SourcePlace
{
    const char* file = nullptr; ///< null where the message has no place worth naming
    int line = 0;
};

/// Filters, formats and sends out one message; what `Log::Print` and `Console::Print` have in common.
void PrintMessage(Log::LogLevel level, Log::LogZone zone, SourcePlace place, bool decorated,
                  const char* format, va_list arguments) __attribute__((format(printf, 5, 0)));

} // namespace Core
