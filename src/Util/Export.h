#pragma once

/// Marks what the library exports; everything else in it is hidden.
#define UTIL_EXPORT __attribute__((visibility("default")))
