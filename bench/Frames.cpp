#include "Frames.h"

#include <png.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace Bench {

namespace {

Frame Load(const std::filesystem::path& path)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        throw std::runtime_error(path.string() + ": " + image.message);
    }
    image.format = PNG_FORMAT_RGBA;
    Frame frame{path.stem(), image.width, image.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(image))};
    // A negative stride: the last row comes first.
    if (!png_image_finish_read(&image, nullptr, frame.pixels.data(),
                               -static_cast<png_int_32>(image.width * 4), nullptr)) {
        throw std::runtime_error(path.string() + ": " + image.message);
    }
    return frame;
}

std::vector<Frame> LoadAll()
{
    std::vector<Frame> frames;
    for (const auto& entry : std::filesystem::directory_iterator(BENCH_DATA)) {
        frames.push_back(Load(entry.path()));
    }
    std::sort(frames.begin(), frames.end(), [](const Frame& a, const Frame& b) { return a.name < b.name; });
    return frames;
}

} // namespace

const std::vector<Frame>& Frames()
{
    static const std::vector<Frame> frames = LoadAll();
    return frames;
}

const Frame& FullHDFrame()
{
    const auto isFullHD = [](const Frame& frame) { return frame.width == 1920 && frame.height == 1080; };
    return *std::find_if(Frames().begin(), Frames().end(), isFullHD);
}

} // namespace Bench
