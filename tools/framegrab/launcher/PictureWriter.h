#pragma once

#include "Util/ScreenshotWriter.h"
#include "launcher/ExrFile.h"
#include "launcher/PictureFile.h"
#include "launcher/Values.h"
#include "shared/Picture.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Framegrab {

struct ImageKind
{
    const char* name; ///< on the command line, and as a file's extension
    Util::ScreenshotWriter::ImageFormat format;
};

inline constexpr std::array<ImageKind, 2> ImageKinds{{
    {"png", Util::ScreenshotWriter::FormatPNG},
    {"bmp", Util::ScreenshotWriter::FormatBMP},
}};

struct EncodingKind
{
    const char* name; ///< on the command line
    Util::ScreenshotWriter::PNGEncoding encoding;
};

inline constexpr std::array<EncodingKind, 2> EncodingKinds{{
    {"fast", Util::ScreenshotWriter::PNGFast},
    {"small", Util::ScreenshotWriter::PNGSmall},
}};

/// What kind of files pictures become, and where.
struct FileSettings
{
    std::string folder;          ///< from the root, once it is made
    std::uint32_t imageKind = 0; ///< index in `ImageKinds`
    std::uint32_t pngKind = 0;   ///< index in `EncodingKinds`
    bool opaque = false;

    // Of pictures that are made of values.
    std::string program;    ///< name, for the notes in files of values
    bool hasValues = false; ///< each gets an OpenEXR file
    bool isDepthStretched = false;
    std::optional<DepthRange> depthRange{}; ///< to stretch depth to; none: the one that it has
    bool stencilColors = false;
    std::uint32_t thumbnailWidth = 0; ///< as in `Settings`
    std::uint32_t thumbnailHeight = 0;
    bool thumbnailOnly = false;
};

/// Sets the library up for these files, for all threads.
void Apply(const FileSettings& settings);

/// The pixels of a picture, as `glReadPixels` lays them out.
struct ReadPixels
{
    std::span<const std::uint8_t> bytes;
    std::uint32_t format;
    std::uint32_t type;
    bool isBGRA = false; ///< bytes that come as B, G, R, A
};

/// What came of writing a picture.
struct WrittenPicture
{
    PictureFile file;  ///< the picture's status is 0 when it is whole
    std::string error; ///< why not, in words, where the system told; of one that is: why its values are not
    Legend integers{}; ///< what the colors of the picture stand for
};

/// Writes a picture. A file that is cut is removed.
///
/// @note Any thread.
WrittenPicture WritePicture(const FileSettings& settings, const Picture& picture, const ReadPixels& pixels);

/// Writes what is made of the values of a buffer: a picture of them, its thumbnail, an OpenEXR file, as the
/// settings want them.
///
/// @note Any thread.
std::vector<WrittenPicture> WriteValues(const FileSettings& settings, const Picture& picture,
                                        const Values& values, const ExrNotes& notes);

} // namespace Framegrab
