#pragma once

/// Marks what the library exports; everything else in it is hidden.
#define UTIL_EXPORT __attribute__((visibility("default")))

/// Hides a private member function of an exported class.
#define UTIL_INTERNAL __attribute__((visibility("hidden")))
