#pragma once

#include <exception>

namespace Util {

/// Keeps exceptions, which a host need not be built for, inside the library. What unwinds a thread that is
/// cancelled in a system call is none of them, and goes through.
///
/// @param work  what is to be done; the exceptions that it may meet are those of the standard library, in
///              practice an allocation that failed
/// @return what `work` returns; where it throws, an empty or zero value of that type
template <typename Work>
auto NoThrow(Work&& work) -> decltype(work())
{
    try {
        return work();
    } catch (const std::exception&) {
        return decltype(work())();
    }
}

} // namespace Util
