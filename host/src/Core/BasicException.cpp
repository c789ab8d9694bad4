#include "Core/BasicException.h"

namespace Core {

BasicException::BasicException(const std::string& message) : std::runtime_error(message) {}

// Here, so that the type information is emitted once and a throw in one library is caught in another.
BasicException::~BasicException() = default;

} // namespace Core
