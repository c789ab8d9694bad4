#pragma once

/// Marks what the host's libraries export; everything else in them is hidden.
#define CORE_EXPORT __attribute__((visibility("default")))
