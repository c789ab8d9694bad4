#pragma once

#include "Util/Export.h"

#include <cstdint>

namespace Util {

/// How the images of PNG files are compressed.
enum PNGEncoding : std::uint32_t
{
    PNGSmall = 0, ///< libpng's defaults
    PNGFast =
        1, ///< an order of magnitude faster, files 1.4 times as large on average; the pixels are the same
};

/// Chooses the encoding of all PNG files of the process that are created, and of all pictures that are read
/// back, from now on. `PNGSmall` until then.
///
/// @param encoding  any value but `PNGFast` is taken as `PNGSmall`
/// @note Any thread. `PNGFast` compresses with ISA-L; built without it, with zlib at its fastest level.
UTIL_EXPORT void SetPNGEncoding(PNGEncoding encoding);

UTIL_EXPORT PNGEncoding GetPNGEncoding();

} // namespace Util
