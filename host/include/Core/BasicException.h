#pragma once

#include "Core/Export.h"

#include <stdexcept>
#include <string>

namespace Core {

/// The one exception that crosses the library's boundary. `what()` gives the message.
class CORE_EXPORT BasicException : public std::runtime_error
{
public:
    explicit BasicException(const std::string& message);
    BasicException(const BasicException&) = default;
    BasicException& operator=(const BasicException&) = default;
    ~BasicException() override;
};

} // namespace Core
