#pragma once

#include "Util/ScreenshotWriter.h"
#include "launcher/ImageFile.h"
#include "shared/FrameList.h"
#include "shared/LogSettings.h"
#include "shared/Picture.h"
#include "shared/SessionRecords.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <sys/types.h>
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

/// What is to be captured, as the launcher tells it to the processes of the program.
struct Settings
{
    FrameList frames;
    std::vector<Buffer> buffers; ///< in the order in which to take them
    std::uint32_t imageKind = 0; ///< index in `ImageKinds`
    std::uint32_t pngKind = 0;   ///< index in `EncodingKinds`
    std::string output;          ///< folder for the pictures; absolute, since a program may change its own
    bool opaque = false;
    std::uint32_t thumbnailWidth = 0; ///< of the box that thumbnails fit, in pixels; 0: none are wanted
    std::uint32_t thumbnailHeight = 0;
    bool thumbnailOnly = false; ///< without the full-size pictures
    bool quit = false;          ///< the program is ended after the last frame
    bool targets = false;       ///< framebuffer objects too; the launcher chooses the hooks by it
    LogSettings log;
};

/// One record, as the launcher reads it.
struct Record
{
    RecordKind kind{};
    pid_t process = 0;
    Picture picture;
    std::string text;
};

/// Counters that all processes of a session share, in a file mapped by each.
struct SharedCounters
{
    std::atomic<std::uint32_t> capturingProcesses; ///< how many have begun to capture
    std::atomic<std::uint64_t> swaps;              ///< most swaps that one process has made
    std::atomic<std::uint32_t> isEnding;           ///< 1 when no frame may be begun any more
    std::atomic<std::uint32_t> framesBegun;        ///< how many are being captured now
    std::atomic<std::uint32_t> isLastFrameDone;    ///< 1 when that was dealt with, be it captured or not
    std::atomic<std::uint32_t> isLastFrameShown;   ///< 1 when it was then swapped as well
    std::atomic<std::uint32_t> recordsLost;        ///< how many could not be appended
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free &&
              std::atomic<std::uint64_t>::is_always_lock_free);

/// Writes the settings into the session's folder.
///
/// @return whether they are there whole
bool WriteSettings(const std::string& folder, const Settings& settings);

/// Reads what `WriteSettings` wrote.
///
/// @return false when the file is missing or is not whole
bool ReadSettings(const std::string& folder, Settings& settings);

/// Maps the counters into the calling process, for as long as it lives.
///
/// @param create  make the file, with all counters 0
/// @return null on failure
SharedCounters* MapCounters(const std::string& folder, bool create);

/// Reads the records of a session as they come.
class RecordReader
{
public:
    /// Makes the empty file that `AppendRecord` writes to.
    explicit RecordReader(const std::string& folder);
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;
    ~RecordReader();

    [[nodiscard]] bool IsOpen() const { return m_file >= 0; }

    /// @return the records that were appended since the last call, in order
    std::vector<Record> ReadNew();

private:
    int m_file;
    std::string m_rest; ///< the beginning of a record that is not whole yet
};

} // namespace Framegrab
