#include "launcher/PictureWriter.h"

#include "Playback/PlaybackEnvironment.h"
#include "Util/GLScreenshotHandler.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <unistd.h>

namespace Framegrab {

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
    WrittenPicture written{.file = {.picture = picture, .name = stem + "." + kind.name, .image = {}},
                           .error = {}};
    const std::string path = settings.folder + "/" + written.file.name;

    const Clock::time_point start = Clock::now();
    Util::GLScreenshotHandler handler(kind.format);
    errno = 0;
    const std::uint32_t status =
        handler.WriteScreenshot(settings.folder + "/" + stem, picture.width, picture.height,
                                pixels.bytes.data(), pixels.format, pixels.type);
    written.file.picture.status = status;
    if (status != 0) {
        written.error = errno != 0 ? std::strerror(errno) : "";
        // One that could not be opened for writing is not cut, but somebody else's.
        if (access(path.c_str(), W_OK) == 0 && unlink(path.c_str()) == 0) {
            written.error +=
                written.error.empty() ? "the cut file was removed" : "; the cut file was removed";
        }
    }
    written.file.writeTime = nanoseconds(Clock::now() - start).count();
    written.file.writtenAt = nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
    return written;
}

} // namespace Framegrab
