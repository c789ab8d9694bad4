#include "Core/System.h"

#include <cstdarg>
#include <cstdio>

namespace Core {

int System::Snprintf(char* buffer, std::size_t size, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

} // namespace Core
