#include "Util/CapturedValues.h"

namespace Util {

ValueSink::~ValueSink() = default;

std::uint8_t* ValueSink::Lend(std::size_t /*bytes*/)
{
    return nullptr;
}

} // namespace Util
