#include "Util/GLScreenshotHandler.h"

#include "Util/GLUtils.h"
#include "Util/Logging.h"
#include "Util/PixelBuffer.h"
#include "Util/PixelConversion.h"

#include <GLES3/gl3.h>

#include <algorithm>
#include <new>

namespace Util {

namespace {

/// Pixels are converted and handed to the file in blocks of this size: large enough that the file sees few
/// writes, small enough to stay in cache. See bench/ScreenshotBenchmark.cpp.
constexpr std::uint32_t BlockBytes = 512 * 1024;
constexpr std::uint32_t OutputPitch = 4;
constexpr std::uint32_t BlockPixels = BlockBytes / OutputPitch;

void LogNotCreated(const std::string& fileName)
{
    UTIL_LOG(Core::Log::LevelError, "Screenshot failed: Could not create image file %s", fileName.c_str());
}

} // namespace

GLScreenshotHandler::GLScreenshotHandler(ImageFormat imageFormat) : m_imageFormat(imageFormat) {}

GLScreenshotHandler::~GLScreenshotHandler() = default;

std::uint32_t GLScreenshotHandler::WriteScreenshot(const std::string& fileName, std::uint32_t width,
                                                   std::uint32_t height, const std::uint8_t* pixels,
                                                   std::uint32_t format, std::uint32_t type)
try {
    CapturedImage image{.fileName = fileName,
                        .width = width,
                        .height = height,
                        .format = format,
                        .type = type,
                        .pixels = pixels};
    image.NoteSettings();
    return WriteScreenshot(image);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

std::uint32_t GLScreenshotHandler::WriteScreenshot(const CapturedImage& image)
try {
    const bool isPng = m_imageFormat == FormatPNG;
    if (!isPng && m_imageFormat != FormatBMP) {
        UTIL_LOG(Core::Log::LevelError, "Screenshot failed: Unrecognized image file format %d",
                 static_cast<int>(m_imageFormat));
        LogNotCreated(image.fileName);
        return StatusUnsupportedFormat;
    }

    const std::string path = image.fileName + (isPng ? ".png" : ".bmp");
    const bool isEmpty = image.width == 0 || image.height == 0;
    const bool isEncodable =
        GetPitch(image.format, image.type) != 0 && (!image.isBGRA || image.type == GL_UNSIGNED_BYTE);
    if (!isEncodable || (!image.pixels && !isEmpty)) {
        LogNotCreated(path);
        return StatusFailure;
    }

    // GL and BMP store the bottom row first, PNG the top row.
    const bool isEncodedInPlace = isPng && image.type == GL_UNSIGNED_BYTE;
    std::uint32_t status = StatusSuccess;
    if (isPng) {
        status = CreatePNGFile(path, {.width = image.width,
                                      .height = image.height,
                                      .rgba = true,
                                      .encoding = image.encoding,
                                      .pixels = isEncodedInPlace ? image.pixels : nullptr,
                                      .isBGRA = image.isBGRA,
                                      .opaque = image.opaque});
    } else {
        status = CreateBMPFile(path, image.width, image.height);
    }
    if (status != StatusSuccess) {
        LogNotCreated(path);
        return status;
    }

    if (!isEncodedInPlace) {
        status = WriteAsBGRA(image, isPng);
    }
    const bool isClosed = CloseFile() == StatusSuccess;
    if (status == StatusSuccess && (!isClosed || (isPng && HasPNGFailed()))) {
        status = StatusFailure;
    }
    if (status != StatusSuccess) {
        UTIL_LOG(Core::Log::LevelError, "Screenshot failed: Error writing image file %s", path.c_str());
    }
    return status;
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

std::uint32_t GLScreenshotHandler::WriteAsBGRA(const std::uint8_t* pixels, std::uint32_t width,
                                               std::uint32_t height, std::uint32_t format, std::uint32_t type,
                                               bool flipVertical, bool makeOpaque)
{
    return WriteAsBGRA({.fileName = {},
                        .width = width,
                        .height = height,
                        .format = format,
                        .type = type,
                        .pixels = pixels,
                        .opaque = makeOpaque},
                       flipVertical);
}

std::uint32_t GLScreenshotHandler::WriteAsBGRA(const CapturedImage& image, bool flipVertical)
{
    const std::uint32_t width = image.width;
    const std::uint32_t height = image.height;
    if (width == 0 || height == 0) {
        return StatusSuccess;
    }
    const std::size_t pitch = GetPitch(image.format, image.type);
    const PixelBuffer block = AllocatePixels(BlockPixels, 1, OutputPitch);
    if (pitch == 0 || !image.pixels || !block) {
        return StatusFailure;
    }

    std::uint32_t used = 0; // pixels in the block
    const auto flush = [&] {
        const std::uint32_t status = WriteImageData(block.get(), std::size_t{used} * OutputPitch);
        used = 0;
        return status;
    };

    const std::size_t rowBytes = width * pitch;
    for (std::uint32_t row = 0; row < height; ++row) {
        const std::uint8_t* source = image.pixels + (flipVertical ? height - 1 - row : row) * rowBytes;
        for (std::uint32_t left = width; left > 0;) {
            const std::uint32_t count = std::min(left, BlockPixels - used);
            std::uint8_t* const bgra = block.get() + std::size_t{used} * OutputPitch;
            if (image.isBGRA) {
                CopyBGRA(source, count, image.opaque, bgra);
            } else {
                ConvertToBGRA(source, count, image.type, image.opaque, bgra);
            }
            source += count * pitch;
            left -= count;
            used += count;
            if (used == BlockPixels) {
                if (const std::uint32_t status = flush(); status != StatusSuccess) {
                    return status;
                }
            }
        }
    }
    return flush();
}

} // namespace Util
