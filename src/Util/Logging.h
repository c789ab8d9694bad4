#pragma once

#include "Core/Log.h"

/// Logs in zone "util" with the caller's place. A macro because the place is the caller's and because the
/// compiler checks the arguments against the format only where it sees the literal.
#define UTIL_LOG(level, ...)                                                                                 \
    Core::Log::Print((level), Core::Log::ZoneUtil, __LINE__, __FILE_NAME__, true, __VA_ARGS__)
