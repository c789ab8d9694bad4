#include "support/Image.h"

#include <cstring>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#define STBI_ONLY_BMP
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

namespace TestSupport {

Image LoadImage(const std::string& path)
{
    Image image;
    stbi_uc* const data = stbi_load(path.c_str(), &image.width, &image.height, &image.channels, 4);
    if (!data) {
        return {};
    }
    image.pixels.resize(static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height));
    std::memcpy(image.pixels.data(), data, image.pixels.size() * sizeof(Pixel));
    stbi_image_free(data);
    return image;
}

} // namespace TestSupport
