#include "launcher/Options.h"

#include "Util/ParseArgs.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace Framegrab {

const char* const HelpText =
    "Usage: framegrab [OPTIONS] -- PROGRAM [ARGUMENTS]\n"
    "Runs an OpenGL ES program and writes the frames asked for as picture files, as they are just before "
    "they are\n"
    "shown. Needs a context of OpenGL ES 3.0 or later, which many a driver gives to programs that ask for "
    "2.0.\n"
    "\n"
    "  -frames LIST       frames to capture, e.g. 1,60,100-110; the first swap shows frame 1 (default: 1)\n"
    "                     60-: every frame from the 60th on; 60-/10, 60-100/10: every tenth\n"
    "  -buffers LIST      what to capture of each: color, depth, stencil (default: color)\n"
    "  -targets           also what the program draws into framebuffer objects, when it is done with each\n"
    "  -format png|bmp    kind of the picture files (default: png)\n"
    "  -thumbnail WxH     thumbnails as well, of that size at most, e.g. 320x240\n"
    "  -thumbnail-only    thumbnails instead, but for what has none: colors of framebuffer objects after the "
    "first\n"
    "  -png fast|small    how PNG files are compressed (default: fast: in a tenth of the time, a quarter "
    "larger)\n"
    "  -output DIR        folder for them, made if missing (default: PROGRAM and the time)\n"
    "  -opaque            alpha 255 in every pixel: a window has no alpha worth keeping\n"
    "  -quit              end the program after the last frame asked for\n"
    "  -timeout SECONDS   end the program if that frame has not come by then; of frames without an end, "
    "then\n"
    "  -loglevel N        how much is logged: 0 to 5 (default: 2, warnings)\n"
    "  -logzones LIST     of which parts, e.g. capture:util (default: all)\n"
    "  -logiopipe LIST    where to: console (standard error), file (framegrab.log beside the pictures),\n"
    "                     debugger (system log) (default: console:file)\n"
    "  -help              print this text\n"
    "\n"
    "Files: frame000060.png, frame000060_depth.png, frame000060_stencil.png, frame000060_thumbnail.png,\n"
    "frame000060_depth_thumbnail.png and so on; those of a second process of the program that shows frames "
    "are\n"
    "called frame000060-p2.png and so on. The page index.html shows them all. With -targets, those of the "
    "buffers "
    "that\n"
    "a framebuffer object has: frame000060_target01_color0.png, _color1, _depth, _stencil; 01 is the first "
    "that\n"
    "was drawn into and left. Left means: another one was bound, an attachment replaced or deleted, the "
    "contents\n"
    "invalidated, or the frame shown; one that is drawn into again has another number. Integer colors are "
    "not\n"
    "captured, which is no failure. Framebuffer objects need a context of OpenGL ES 3.1.\n"
    "\n"
    "Exit status: the program's own if that is not 0; 0 if every frame asked for was captured whole (of "
    "frames\n"
    "without an end, the first and all that came); 1 if not;\n"
    "2 for a wrong option or an output folder that cannot be used; 126 or 127 for a program that cannot be "
    "started.\n"
    "After -quit has ended it, the program's counts as 0.\n";

namespace {

constexpr std::string_view Blanks = " \t\n\v\f\r";

/// Puts one argument into a command line so that it is read back as it was.
///
/// @return false when the line has no way to say it
bool AppendValue(std::string_view value, std::string& line)
{
    if (value.find('"') == std::string_view::npos) {
        line.append("\"").append(value).append("\"");
        return true;
    }
    // Between quotes there is no way to write a quote; bare, the text may hold nothing that ends or begins a
    // token.
    if (value.find_first_of(Blanks) != std::string_view::npos || value.find('=') != std::string_view::npos ||
        value.front() == '"' || value.front() == '-') {
        return false;
    }
    line.append(value);
    return true;
}

bool JoinArguments(const std::vector<std::string>& arguments, std::string& line, std::string& error)
{
    for (const std::string& argument : arguments) {
        line += ' ';
        std::string_view value = argument;
        if (value.starts_with('-')) {
            const std::size_t nameEnd = std::min(value.find('='), value.size());
            const std::string_view name = value.substr(0, nameEnd);
            if (name.find_first_of(Blanks) != std::string_view::npos) {
                error = "unknown option \"" + std::string(name) + "\"";
                return false;
            }
            line += name;
            if (nameEnd == value.size()) {
                continue;
            }
            line += '=';
            value.remove_prefix(nameEnd + 1);
        }
        if (!AppendValue(value, line)) {
            error = "the argument '" + argument +
                    "' cannot be passed on: it has a double quote together with a blank or '=', or at its "
                    "beginning";
            return false;
        }
    }
    return true;
}

template <std::size_t Size, typename Kind>
bool FindByName(const std::array<Kind, Size>& kinds, std::string_view name, std::uint32_t& index)
{
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const Kind& kind) { return kind.name == name; });
    index = static_cast<std::uint32_t>(found - kinds.begin());
    return found != kinds.end();
}

bool ParseBuffers(std::string_view text, std::vector<std::uint32_t>& buffers, std::string& error)
{
    buffers.clear();
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const std::string_view name = text.substr(start, end - start);
        start = end + 1;
        std::uint32_t buffer = 0;
        if (!FindByName(Buffers, name, buffer)) {
            error = "\"" + std::string(name) + "\" is none of color, depth and stencil";
            return false;
        }
        if (std::find(buffers.begin(), buffers.end(), buffer) == buffers.end()) {
            buffers.push_back(buffer);
        }
    }
    return true;
}

bool ParseSize(std::string_view text, std::uint32_t& width, std::uint32_t& height, std::string& error)
{
    constexpr std::uint32_t Largest = 16384;
    const std::size_t cross = std::min(text.find('x'), text.size() - 1);
    const auto parse = [](std::string_view digits, std::uint32_t& number) {
        const char* const end = digits.data() + digits.size();
        const auto [stop, status] = std::from_chars(digits.data(), end, number);
        return status == std::errc{} && stop == end && number >= 1 && number <= Largest;
    };
    if (text.empty() || !parse(text.substr(0, cross), width) || !parse(text.substr(cross + 1), height)) {
        error = "\"" + std::string(text) + "\" is not a size in pixels such as 320x240, each side 1 to " +
                std::to_string(Largest);
        return false;
    }
    return true;
}

bool ParseSeconds(const std::string& text, double& seconds, std::string& error)
{
    char* end = nullptr;
    seconds = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(seconds) || seconds <= 0 || seconds > 1e6) {
        error = "\"" + text + "\" is not a number of seconds";
        return false;
    }
    return true;
}

/// Options with a value: name and what reads the value into the options.
struct ValueOption
{
    const char* name;
    bool (*parse)(const std::string& value, Options& options, std::string& error);
};

const std::array<ValueOption, 7> ValueOptions{{
    {"-frames", [](const std::string& value, Options& options,
                   std::string& error) { return FrameList::Parse(value, options.settings.frames, error); }},
    {"-buffers", [](const std::string& value, Options& options,
                    std::string& error) { return ParseBuffers(value, options.settings.buffers, error); }},
    {"-format",
     [](const std::string& value, Options& options, std::string& error) {
         error = "\"" + value + "\" is neither png nor bmp";
         return FindByName(ImageKinds, value, options.settings.imageKind);
     }},
    {"-png",
     [](const std::string& value, Options& options, std::string& error) {
         error = "\"" + value + "\" is neither fast nor small";
         return FindByName(EncodingKinds, value, options.settings.pngKind);
     }},
    {"-thumbnail",
     [](const std::string& value, Options& options, std::string& error) {
         return ParseSize(value, options.settings.thumbnailWidth, options.settings.thumbnailHeight, error);
     }},
    {"-output",
     [](const std::string& value, Options& options, std::string& error) {
         error = "it needs the path of a folder";
         options.settings.output = value;
         return !value.empty();
     }},
    {"-timeout", [](const std::string& value, Options& options,
                    std::string& error) { return ParseSeconds(value, options.timeout, error); }},
}};

constexpr std::array<const char*, 3> LogOptions{"-loglevel", "-logzones", "-logiopipe"};

struct FlagOption
{
    const char* name;
    bool& (*flag)(Options& options);
};

const std::array<FlagOption, 7> FlagOptions{{
    {"-targets", [](Options& options) -> bool& { return options.settings.targets; }},
    {"-opaque", [](Options& options) -> bool& { return options.settings.opaque; }},
    {"-thumbnail-only", [](Options& options) -> bool& { return options.settings.thumbnailOnly; }},
    {"-quit", [](Options& options) -> bool& { return options.settings.quit; }},
    {"-help", [](Options& options) -> bool& { return options.help; }},
    {"--help", [](Options& options) -> bool& { return options.help; }},
    {"-h", [](Options& options) -> bool& { return options.help; }},
}};

bool SplitOptions(const std::vector<std::string>& arguments, Util::ParseArgs::CmdLineArgs& split,
                  std::string& error)
{
    for (const ValueOption& option : ValueOptions) {
        split.m_valueOptions.insert(option.name);
    }
    split.m_valueOptions.insert(LogOptions.begin(), LogOptions.end());
    for (const FlagOption& option : FlagOptions) {
        split.m_flagOptions.insert(option.name);
    }
    std::string line;
    if (!JoinArguments(arguments, line, error)) {
        return false;
    }
    if (!Util::ParseArgs::ParseCmdLine(line, &split)) {
        error = "unknown option \"" + split.m_error + "\"";
        if (split.m_flagOptions.contains(split.m_error)) {
            error = "the option " + split.m_error + " takes no value";
        }
        return false;
    }
    if (!split.m_arguments.empty()) {
        error = "\"" + split.m_arguments.front() + "\" is not an option; the program comes after --";
        return false;
    }
    return true;
}

} // namespace

bool ParseOptions(const std::vector<std::string>& arguments, Options& options, std::string& error)
{
    const auto separator = std::find(arguments.begin(), arguments.end(), "--");
    Util::ParseArgs::CmdLineArgs split;
    if (!SplitOptions({arguments.begin(), separator}, split, error)) {
        return false;
    }

    Options result;
    result.settings.frames.Add(1);
    result.settings.buffers = {0};
    for (const FlagOption& option : FlagOptions) {
        const auto& flags = split.m_flags;
        option.flag(result) =
            option.flag(result) || std::find(flags.begin(), flags.end(), option.name) != flags.end();
    }
    for (const ValueOption& option : ValueOptions) {
        const auto value = split.m_values.find(option.name);
        std::string reason;
        if (value != split.m_values.end() && !option.parse(value->second, result, reason)) {
            error = std::string(option.name) + ": " + reason;
            return false;
        }
    }
    for (const char* option : LogOptions) {
        if (const auto value = split.m_values.find(option); value != split.m_values.end()) {
            result.log.insert(*value);
        }
    }
    if (result.settings.quit && result.settings.frames.IsOpen() && result.timeout == 0) {
        error = "-quit: there is no last frame in " + result.settings.frames.ToString() +
                "; give a -timeout to end the program";
        return false;
    }
    if (result.settings.thumbnailOnly && result.settings.thumbnailWidth == 0) {
        error = "-thumbnail-only: it needs the size, -thumbnail WxH";
        return false;
    }
    if (separator != arguments.end()) {
        result.program.assign(separator + 1, arguments.end());
    }
    if (result.program.empty() && !result.help) {
        error = "no program was given; it comes after --";
        return false;
    }
    options = std::move(result);
    return true;
}

} // namespace Framegrab
