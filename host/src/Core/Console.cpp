#include "Core/Console.h"

#include "LogOutput.h"

#include <cstdarg>

namespace Core {

void Console::Print(Log::LogLevel level, bool decorated, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    PrintMessage(level, Log::ZoneCore, {}, decorated, format, arguments);
    va_end(arguments);
}

} // namespace Core
