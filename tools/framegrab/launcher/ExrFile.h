#pragma once

#include "launcher/Values.h"
#include "shared/Picture.h"

#include <string>

namespace Framegrab {

/// What an OpenEXR file says of its values beside them.
struct ExrNotes
{
    std::string program; ///< name
    bool isSrgb = false; ///< the values of R, G and B are encoded as the buffer has them
    bool isExact = true; ///< false: resolved from several samples, or an ulp off at most
};

/// Writes the values of a picture as an OpenEXR file, without a loss.
///
/// Halves, floats and unsigned integers stay what they are, 8-bit integers as 32 bits; normalized values
/// become the nearest 32-bit floats, signed integers their two's complement. Channels are `R`, `G`, `B`, `A`
/// of colors, `Z` of depth, `S` of stencil. Attributes: `frame`, `process`, `surface`, `target`, `buffer`,
/// `program`, `glInternalFormat`; `encoding` "sRGB", `integers` "two's complement", `exact` "no" where it is
/// so.
///
/// @param error  why not, in words; the file may then be there in part
/// @return whether the file is there whole
/// @note Any thread.
/// @see OpenEXR File Layout, "Header Attributes" and "Channel List"
bool WriteExrFile(const std::string& path, const Picture& picture, const Values& values,
                  const ExrNotes& notes, std::string& error);

} // namespace Framegrab
