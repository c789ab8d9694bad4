#include "launcher/Options.h"

#include "Util/LogNames.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace Framegrab {

namespace {

using Log = Core::Log;

template <typename Row, std::size_t Size>
constexpr std::array<const char*, Size> NamesOf(const std::array<Row, Size>& rows)
{
    std::array<const char*, Size> names{};
    std::transform(rows.begin(), rows.end(), names.begin(), [](const Row& row) { return row.name; });
    return names;
}

constexpr auto BufferNames = NamesOf(Buffers);
constexpr std::array<const char*, 3> ImageNames{"png", "bmp", "exr"}; // the first two as `ImageKinds`
constexpr auto EncodingNames = NamesOf(EncodingKinds);
constexpr auto ZoneNames = NamesOf(Util::LogZoneNames);
constexpr auto PipeNames = NamesOf(Util::LogIOPipeNames);
constexpr std::array<const char*, 1> RangeNames{"auto"};
constexpr std::array<const char*, 2> AnswerNames{"man", "bash"};

/// @return the words as a sentence has them, e.g. "color, depth and stencil"
std::string Joined(std::span<const char* const> words, std::string_view last)
{
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == words.size() ? std::string(last) : ", ") + words[i];
    }
    return text;
}

/// Calls a function with each word between separators, as long as it returns true.
///
/// @return whether it always did
template <typename Take>
bool ForEachWord(std::string_view text, std::string_view separators, Take take)
{
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, start), text.size());
        if (!take(text.substr(start, end - start))) {
            return false;
        }
        start = end + 1;
    }
    return true;
}

bool ReadWord(std::span<const char* const> words, const std::string& value, std::uint32_t& index,
              std::string& error)
{
    const auto found = std::find(words.begin(), words.end(), value);
    index = static_cast<std::uint32_t>(found - words.begin());
    error = "\"" + value + "\" is neither " + Joined(words, " nor ");
    return found != words.end();
}

/// Reads words with separators between.
///
/// @param take  is called with the index of each word
template <typename Take>
bool ReadWords(std::span<const char* const> words, std::string_view value, std::string_view separators,
               std::string& error, Take take)
{
    return ForEachWord(value, separators, [&](std::string_view word) {
        const auto found = std::find(words.begin(), words.end(), word);
        if (found == words.end()) {
            error = "\"" + std::string(word) + "\" is none of " + Joined(words, " and ");
            return false;
        }
        take(static_cast<std::size_t>(found - words.begin()));
        return true;
    });
}

template <typename Mask, std::size_t Size>
bool ReadMask(const std::array<Util::NamedBits<Mask>, Size>& rows, std::span<const char* const> names,
              std::string value, Mask& mask, std::string& error)
{
    std::transform(value.begin(), value.end(), value.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    mask = 0;
    return ReadWords(names, value, "|:,", error, [&](std::size_t index) { mask |= rows[index].bits; });
}

bool ReadFrames(const std::string& value, Options& options, std::string& error)
{
    options.hasFrames = true;
    return FrameList::Parse(value, options.settings.frames, error);
}

bool ReadBuffers(const std::string& value, Options& options, std::string& error)
{
    std::vector<Buffer>& buffers = options.settings.buffers;
    buffers.clear();
    return ReadWords(BufferNames, value, ",", error, [&](std::size_t index) {
        const Buffer buffer = Buffers[index].buffer;
        if (std::find(buffers.begin(), buffers.end(), buffer) == buffers.end()) {
            buffers.push_back(buffer);
        }
    });
}

bool ReadFormat(const std::string& value, Options& options, std::string& error)
{
    std::uint32_t& kind = options.files.imageKind;
    const bool isKnown = ReadWord(ImageNames, value, kind, error);
    options.files.hasValues = isKnown && kind == ImageKinds.size();
    kind = options.files.hasValues ? 0 : kind;
    return isKnown;
}

bool ReadPNG(const std::string& value, Options& options, std::string& error)
{
    return ReadWord(EncodingNames, value, options.files.pngKind, error);
}

template <typename Number>
bool ReadNumber(std::string_view text, std::uint32_t least, std::uint32_t largest, Number& number)
{
    const char* const end = text.data() + text.size();
    const auto [stop, status] = std::from_chars(text.data(), end, number);
    return status == std::errc{} && stop == end && number >= least && number <= largest;
}

/// Reads a number from 1 on.
template <typename Number>
bool ReadCount(const std::string& value, std::uint32_t most, Number& count, std::string& error)
{
    error = "\"" + value + "\" is not a number from 1 to " + std::to_string(most);
    return ReadNumber(value, 1, most, count);
}

bool ReadWindows(const std::string& value, Options& options, std::string& error)
{
    constexpr std::uint32_t Largest = 999;
    std::vector<std::uint32_t>& windows = options.settings.windows;
    windows.clear();
    return ForEachWord(value, ",", [&](std::string_view word) {
        error = "\"" + std::string(word) + "\" is not the number of a window, from 1 to " +
                std::to_string(Largest);
        return ReadNumber(word, 1, Largest, windows.emplace_back());
    });
}

bool ReadMaxTargets(const std::string& value, Options& options, std::string& error)
{
    return ReadCount(value, 999, options.settings.maxTargets, error); // names of files have three digits
}

bool ReadThumbnail(const std::string& value, Options& options, std::string& error)
{
    constexpr std::uint32_t Largest = 16384;
    const std::string_view text = value;
    const std::size_t cross = text.find('x');
    if (cross == std::string_view::npos ||
        !ReadNumber(text.substr(0, cross), 1, Largest, options.settings.thumbnailWidth) ||
        !ReadNumber(text.substr(cross + 1), 1, Largest, options.settings.thumbnailHeight)) {
        error = "\"" + value + "\" is not a size in pixels such as 320x240, each side 1 to " +
                std::to_string(Largest);
        return false;
    }
    return true;
}

bool ReadOutput(const std::string& value, Options& options, std::string& error)
{
    error = "it needs the path of a folder";
    options.files.folder = value;
    return !value.empty();
}

bool ReadTimeout(const std::string& value, Options& options, std::string& error)
{
    constexpr double Largest = 1e6;
    char* end = nullptr;
    options.timeout = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0' || !std::isfinite(options.timeout) || options.timeout <= 0 ||
        options.timeout > Largest) {
        error = "\"" + value + "\" is not a number of seconds";
        return false;
    }
    return true;
}

/// Takes a number off the beginning of a text.
bool TakeFloat(std::string_view& text, float& number)
{
    const auto [stop, status] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return status == std::errc{} && std::isfinite(number);
}

bool ReadDepthRange(const std::string& value, Options& options, std::string& error)
{
    options.files.isDepthStretched = true;
    if (value == "auto") {
        options.files.depthRange.reset();
        return true;
    }
    std::string_view rest = value;
    DepthRange& range = options.files.depthRange.emplace();
    bool isRange = TakeFloat(rest, range.least) && rest.starts_with('-');
    if (isRange) {
        rest.remove_prefix(1);
        isRange = TakeFloat(rest, range.greatest) && rest.empty() && range.least < range.greatest;
    }
    error = "\"" + value + "\" is neither auto nor a range of depths such as 0.9-1, the smaller first";
    return isRange;
}

bool ReadTrigger(const std::string& value, Options& options, std::string& error)
{
    constexpr std::uint32_t Largest = 1'000'000;
    options.settings.triggerFrames = 1;
    error = "\"" + value + "\" is not a number of frames from 1 to " + std::to_string(Largest);
    return value.empty() || ReadNumber(value, 1, Largest, options.settings.triggerFrames);
}

bool ReadLogLevel(const std::string& value, Options& options, std::string& error)
{
    error = "\"" + value + "\" is not a level from 0 to " + std::to_string(Log::LevelDebug);
    return ReadNumber(value, 0, Log::LevelDebug, options.settings.log.level);
}

bool ReadLogZones(const std::string& value, Options& options, std::string& error)
{
    return ReadMask(Util::LogZoneNames, ZoneNames, value, options.settings.log.zones, error);
}

bool ReadLogPipes(const std::string& value, Options& options, std::string& error)
{
    return ReadMask(Util::LogIOPipeNames, PipeNames, value, options.settings.log.pipes, error);
}

bool ReadHelp(const std::string& value, Options& options, std::string& error)
{
    std::uint32_t index = 0;
    if (!value.empty() && !ReadWord(AnswerNames, value, index, error)) {
        return false;
    }
    options.answer = value.empty() ? Options::Answer::Help
                     : index == 0  ? Options::Answer::ManPage
                                   : Options::Answer::Completion;
    return true;
}

bool ReadMemory(const std::string& value, Options& options, std::string& error)
{
    std::size_t mebibytes = 0;
    const bool isRead = ReadCount(value, 1024 * 1024, mebibytes, error);
    options.memory = mebibytes << 20U;
    return isRead;
}

bool ReadThreads(const std::string& value, Options& options, std::string& error)
{
    return ReadCount(value, 256, options.threads, error);
}

/// @param Part  of the options, which has the flag
template <auto Part, auto Flag>
bool Set(const std::string&, Options& options, std::string&)
{
    (options.*Part).*Flag = true;
    return true;
}

using Offer = OptionRow::Offer;

constexpr std::array Table{
    OptionRow{.name = "frames",
              .value = "LIST",
              .help = "frames to capture, e.g. 1,60,100-110; the first swap shows frame 1. 60-: every frame "
                      "from the 60th on; 60-/10, 60-100/10: every tenth (default: 1)",
              .read = &ReadFrames},
    OptionRow{.name = "windows",
              .value = "LIST",
              .help =
                  "which windows to capture, e.g. 1,3: each has its own frames, and its number by when it "
                  "first showed one; the last frame has come when all of these have shown it (default: "
                  "all, and when the first has)",
              .read = &ReadWindows},
    OptionRow{.name = "buffers",
              .value = "LIST",
              .help = "what to capture of each: color, depth, stencil (default: color)",
              .read = &ReadBuffers,
              .offer = Offer::WordLists,
              .words = BufferNames},
    OptionRow{.name = "targets",
              .value = nullptr,
              .help = "also what the program draws into framebuffer objects, when it is done with each "
                      "(default: only what it shows)",
              .read = &Set<&Options::settings, &Settings::targets>},
    OptionRow{.name = "max-targets",
              .value = "N",
              .help = "how many of these to capture of one frame: 1 to 999 (default: 200)",
              .read = &ReadMaxTargets},
    OptionRow{.name = "format",
              .value = "png|bmp|exr",
              .help = "kind of the picture files; exr: PNG files, and OpenEXR files of the values that the "
                      "buffers hold, without a loss (default: png)",
              .read = &ReadFormat,
              .offer = Offer::Words,
              .words = ImageNames},
    OptionRow{.name = "thumbnail",
              .value = "WxH",
              .help = "thumbnails as well, of that size at most, e.g. 320x240 (default: none)",
              .read = &ReadThumbnail},
    OptionRow{.name = "thumbnail-only",
              .value = nullptr,
              .help = "thumbnails instead, but for what has none: colors of framebuffer objects after the "
                      "first (default: both)",
              .read = &Set<&Options::settings, &Settings::thumbnailOnly>},
    OptionRow{.name = "png",
              .value = "fast|small",
              .help = "how PNG files are compressed; fast takes a tenth of the time, and files are a third "
                      "larger (default: fast)",
              .read = &ReadPNG,
              .offer = Offer::Words,
              .words = EncodingNames},
    OptionRow{.name = "depth-range",
              .value = "auto|MIN-MAX",
              .help =
                  "the depths that are black and white; auto: the least and the greatest that are neither 0 "
                  "nor 1 (default: 0-1)",
              .read = &ReadDepthRange,
              .offer = Offer::Words,
              .words = RangeNames},
    OptionRow{.name = "stencil-colors",
              .value = nullptr,
              .help = "a color of its own for each stencil value, and for each integer of colors, which are "
                      "captured then; 0 is black, the page tells the others (default: grey)",
              .read = &Set<&Options::files, &FileSettings::stencilColors>},
    OptionRow{.name = "output",
              .value = "DIR",
              .help = "folder for them, made if missing (default: PROGRAM and the time)",
              .read = &ReadOutput,
              .offer = Offer::Folders},
    OptionRow{.name = "opaque",
              .value = nullptr,
              .help = "alpha 255 in every pixel: a window has no alpha worth keeping (default: as drawn)",
              .read = &Set<&Options::files, &FileSettings::opaque>},
    OptionRow{.name = "quit",
              .value = nullptr,
              .help = "end the program after the last frame asked for (default: let it run)",
              .read = &Set<&Options::settings, &Settings::quit>},
    OptionRow{.name = "timeout",
              .value = "SECONDS",
              .help = "end the program if that frame has not come by then; of frames without an end, then "
                      "(default: never)",
              .read = &ReadTimeout},
    OptionRow{.name = "trigger",
              .value = "N",
              .help =
                  "capture nothing until framegrab gets SIGUSR1, then the next N frames of each window "
                  "(default: 1); again for each signal, N more for one that comes early; none at all is "
                  "exit status 1; -quit ends the program when a window has shown them, with -windows when "
                  "all of these have (default: the frames of -frames)",
              .read = &ReadTrigger,
              .isValueOptional = true},
    OptionRow{.name = "memory",
              .value = "MIB",
              .help = "room for pictures that were read and wait to be written; when it is full, the program "
                      "waits (default: 128, at most half of what is there)",
              .read = &ReadMemory},
    OptionRow{.name = "threads",
              .value = "N",
              .help = "how many pictures are written at a time (default: one less than there are processors)",
              .read = &ReadThreads},
    OptionRow{.name = "loglevel",
              .value = "N",
              .help = "how much is logged: 0 to 5 (default: 2, warnings)",
              .read = &ReadLogLevel},
    OptionRow{.name = "logzones",
              .value = "LIST",
              .help = "of which parts, e.g. capture:util (default: all)",
              .read = &ReadLogZones,
              .offer = Offer::WordLists,
              .words = ZoneNames},
    OptionRow{.name = "logiopipe",
              .value = "LIST",
              .help = "where to: console (standard error), file (framegrab.log beside the pictures), "
                      "debugger (system log) (default: console:file)",
              .read = &ReadLogPipes,
              .offer = Offer::WordLists,
              .words = PipeNames},
    OptionRow{.name = "help",
              .value = "man|bash",
              .help = "print this text; as a man page; as bash completion",
              .read = &ReadHelp,
              .offer = Offer::Words,
              .words = AnswerNames,
              .isValueOptional = true},
    OptionRow{.name = "version",
              .value = nullptr,
              .help = "print the version",
              .read =
                  [](const std::string&, Options& options, std::string&) {
                      options.answer = Options::Answer::Version;
                      return true;
                  }},
};

} // namespace

const std::span<const OptionRow> OptionTable = Table;

} // namespace Framegrab
