#pragma once

#include "launcher/Values.h"
#include "shared/Picture.h"

#include <cstdint>
#include <optional>
#include <string>

namespace Framegrab {

/// A picture in the output folder, and what framegrab has found in its values.
struct PictureFile
{
    Picture picture;
    std::string name;         ///< in the output folder
    std::uint64_t bytes = 0;  ///< 0 where the file is not there whole
    std::string valuesName{}; ///< of the file that has its values without a loss; empty when there is none
    std::uint64_t valuesBytes = 0;
    std::int64_t writtenAt = 0; ///< nanoseconds since 1970; 0 where it is not known
    std::int64_t writeTime = 0; ///< nanoseconds that the encoding and writing took

    std::optional<DepthRange> depthRange{}; ///< what black and white stand for, where not 0 and 1
    std::optional<float> largest{};         ///< number in a color of floats
};

} // namespace Framegrab
