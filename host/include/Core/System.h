#pragma once

#include "Core/Export.h"

#include <cstddef>

namespace Core {

class CORE_EXPORT System
{
public:
    /// `vsnprintf` with its arguments in place.
    ///
    /// @return the length that the whole text has, without its terminating zero; negative on an encoding
    ///         error
    static int Snprintf(char* buffer, std::size_t size, const char* format, ...)
        __attribute__((format(printf, 3, 4)));
};

} // namespace Core
