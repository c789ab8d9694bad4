#include "launcher/PictureWriter.h"

#include "Playback/PlaybackEnvironment.h"
#include "Util/GLScreenshotHandler.h"

#include <GLES3/gl3.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

/// Removes a file that is cut, and says so. One that could not be opened for writing is not cut, but somebody
/// else's.
void AddRemoval(const std::string& path, std::string& error)
{
    if (access(path.c_str(), W_OK) == 0 && unlink(path.c_str()) == 0) {
        error += error.empty() ? "the cut file was removed" : "; the cut file was removed";
    }
}

/// Makes the picture of values.
Pixels Paint(const FileSettings& settings, Buffer buffer, const Values& values, WrittenPicture& written)
{
    if (buffer == Buffer::Depth) {
        DepthRange range;
        if (settings.isDepthStretched) {
            range = settings.depthRange ? *settings.depthRange : FindDepthRange(values);
            written.file.depthRange = range;
        }
        return PaintDepth(values, range);
    }
    if (buffer == Buffer::Stencil && !settings.stencilColors) {
        return PaintStencil(values);
    }
    if (values.AreIntegers()) {
        return PaintIntegers(values, written.integers);
    }
    if (values.type == ValueType::Float || values.type == ValueType::Half) {
        written.file.largest = FindLargest(values);
    }
    return PaintColors(values);
}

WrittenPicture WritePixels(const FileSettings& settings, Picture picture, const Pixels& pixels)
{
    picture.width = pixels.width;
    picture.height = pixels.height;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(pixels.pixels.data());
    return WritePicture(settings, picture,
                        {{bytes, pixels.pixels.size() * sizeof(Rgba)}, GL_RGBA, GL_UNSIGNED_BYTE});
}

} // namespace

void Apply(const FileSettings& settings)
{
    Playback::PlaybackEnvironment::Instance().m_opaqueScreenshots = settings.opaque;
    Util::ScreenshotWriter::SetPNGEncoding(EncodingKinds[settings.pngKind].encoding);
}

WrittenPicture WritePicture(const FileSettings& settings, const Picture& picture, const ReadPixels& pixels)
{
    using std::chrono::nanoseconds;
    using Clock = std::chrono::steady_clock;

    const ImageKind& kind = ImageKinds[settings.imageKind];
    const std::string stem = FileStem(picture);
    WrittenPicture written{.file = {.picture = picture, .name = stem + "." + kind.name}, .error = {}};
    const std::string path = settings.folder + "/" + written.file.name;

    const Clock::time_point start = Clock::now();
    Util::GLScreenshotHandler handler(kind.format);
    errno = 0;
    Util::CapturedImage image{.fileName = settings.folder + "/" + stem,
                              .width = picture.width,
                              .height = picture.height,
                              .format = pixels.format,
                              .type = pixels.type,
                              .isBGRA = pixels.isBGRA,
                              .pixels = pixels.bytes.data()};
    image.NoteSettings();
    const std::uint32_t status = handler.WriteScreenshot(image);
    written.file.picture.status = status;
    if (status != 0) {
        written.error = errno != 0 ? std::strerror(errno) : "";
        AddRemoval(path, written.error);
    }
    written.file.writeTime = nanoseconds(Clock::now() - start).count();
    written.file.writtenAt = nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
    return written;
}

std::vector<WrittenPicture> WriteValues(const FileSettings& settings, const Picture& picture,
                                        const Values& values, const ExrNotes& notes)
{
    WrittenPicture found;
    const Pixels pixels = Paint(settings, picture.buffer, values, found);
    if (settings.hasValues) {
        const std::string name = FileStem(picture) + ".exr";
        const std::string path = settings.folder + "/" + name;
        if (WriteExrFile(path, picture, values, notes, found.error)) {
            found.file.valuesName = name;
            std::error_code ignored;
            found.file.valuesBytes = std::filesystem::file_size(path, ignored);
        } else {
            AddRemoval(path, found.error);
        }
    }
    std::vector<WrittenPicture> written;
    const bool isThumbnailWanted = settings.thumbnailWidth != 0;
    if (!settings.thumbnailOnly || !isThumbnailWanted) {
        written.push_back(WritePixels(settings, picture, pixels));
    }
    if (isThumbnailWanted) {
        Picture thumbnail = picture;
        thumbnail.isThumbnail = true;
        written.push_back(WritePixels(
            settings, thumbnail,
            FitInto(pixels, settings.thumbnailWidth, settings.thumbnailHeight, found.integers.empty())));
    }
    for (WrittenPicture& one : written) {
        one.file.depthRange = found.file.depthRange;
        one.file.largest = found.file.largest;
    }
    WrittenPicture& first = written.front();
    first.integers = std::move(found.integers);
    first.file.valuesName = found.file.valuesName;
    first.file.valuesBytes = found.file.valuesBytes;
    if (first.file.picture.status == 0) {
        first.error = found.error;
    }
    return written;
}

} // namespace Framegrab
