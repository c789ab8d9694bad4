#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Bench {

/// A captured frame as `glReadPixels` returned it: RGBA, bottom row first.
struct Frame
{
    std::string name;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> pixels;
};

/// The frames of several applications that are kept in bench/data.
const std::vector<Frame>& Frames();

/// A frame of 1920 x 1080 pixels among them.
const Frame& FullHDFrame();

} // namespace Bench
