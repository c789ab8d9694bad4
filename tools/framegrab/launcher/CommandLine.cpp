#include "launcher/CommandLine.h"

#include <algorithm>
#include <cstddef>
#include <getopt.h>
#include <span>
#include <string_view>
#include <utility>

namespace Framegrab {

namespace {

/// What `getopt_long_only` answers for the first row; less could be one of its own answers, '?' and ':'.
constexpr int FirstRow = 256;

std::vector<option> TableForGetopt()
{
    std::vector<option> rows;
    for (const OptionRow& row : OptionTable) {
        const int argument = !row.value            ? no_argument
                             : row.isValueOptional ? optional_argument
                                                   : required_argument;
        rows.push_back({.name = row.name,
                        .has_arg = argument,
                        .flag = nullptr,
                        .val = FirstRow + static_cast<int>(rows.size())});
    }
    rows.push_back({});
    return rows;
}

/// @param word  an argument that `getopt_long_only` refused
/// @param row   what it belongs to; less than `FirstRow` when that is not clear
std::string WhyRefused(const std::string& word, int row)
{
    if (row >= FirstRow) {
        const OptionRow& option = OptionTable[static_cast<std::size_t>(row - FirstRow)];
        return std::string("the option -") + option.name +
               (option.value ? " needs a value" : " takes no value");
    }
    const std::string name = word.substr(0, word.find('='));
    const std::size_t start = name.find_first_not_of('-');
    std::string candidates;
    for (const OptionRow& option : OptionTable) {
        if (start != std::string::npos && std::string_view(option.name).starts_with(name.substr(start))) {
            candidates += (candidates.empty() ? "-" : ", -") + std::string(option.name);
        }
    }
    return candidates.empty() ? "unknown option \"" + name + "\""
                              : "the option \"" + name + "\" is cut too short: it may be " + candidates;
}

/// Reads the options.
///
/// @param words      the tool's name and its arguments, and a null pointer
/// @param remaining  receives the index of the first word behind "--"
bool ReadOptions(std::span<char*> words, Options& options, std::size_t& remaining, std::string& error)
{
    const std::vector<option> table = TableForGetopt();
    const auto count = static_cast<int>(words.size()) - 1;
    opterr = 0;
    for (optind = 0;;) {
        const int before = std::max(optind, 1);
        const int answer = getopt_long_only(count, words.data(), "+:", table.data(), nullptr);
        const std::string word = before < count ? words[static_cast<std::size_t>(before)] : "";
        if (answer == -1) {
            remaining = static_cast<std::size_t>(optind);
            if (optind == before && !word.empty()) {
                error = "\"" + word + "\" is not an option; the program comes after --";
                return false;
            }
            return true;
        }
        if (answer < FirstRow) {
            error = WhyRefused(word, optopt);
            return false;
        }
        const OptionRow& row = OptionTable[static_cast<std::size_t>(answer - FirstRow)];
        const bool isNextWord = row.value && !row.isValueOptional && optind == before + 2;
        std::string value = optarg ? optarg : "";
        if (isNextWord && value == "--") {
            error = WhyRefused(word, answer);
            return false;
        }
        // getopt takes such a value behind a sign alone.
        if (row.isValueOptional && !optarg && optind < count &&
            *words[static_cast<std::size_t>(optind)] != '-') {
            value = words[static_cast<std::size_t>(optind++)];
        }
        std::string reason;
        if (!row.read(value, options, reason)) {
            error = std::string("-") + row.name + ": " + reason;
            return false;
        }
    }
}

/// @return whether the options go together, which none of them sees by itself
bool FitTogether(const Options& options, std::string& error)
{
    const Settings& settings = options.settings;
    if (settings.triggerFrames != 0 && options.hasFrames) {
        error = "-trigger: which frames it captures is told by the signal, not by -frames";
        return false;
    }
    if (settings.quit && settings.frames.IsOpen() && options.timeout == 0) {
        error = "-quit: there is no last frame in " + settings.frames.ToString() +
                "; give a -timeout to end the program";
        return false;
    }
    if (settings.thumbnailOnly && settings.thumbnailWidth == 0) {
        error = "-thumbnail-only: it needs the size, -thumbnail WxH";
        return false;
    }
    if (options.program.empty()) {
        error = "no program was given; it comes after --";
        return false;
    }
    return true;
}

/// Says of which buffers values are needed, and what pictures are made of them.
void ChooseValues(Options& options)
{
    Settings& settings = options.settings;
    FileSettings& files = options.files;
    for (const Buffer buffer : settings.buffers) {
        if (files.hasValues || (buffer == Buffer::Depth && files.isDepthStretched) ||
            (buffer == Buffer::Stencil && files.stencilColors)) {
            settings.valueBuffers.push_back(buffer);
        }
    }
    settings.integers = files.hasValues || files.stencilColors;
    files.thumbnailWidth = settings.thumbnailWidth;
    files.thumbnailHeight = settings.thumbnailHeight;
    files.thumbnailOnly = settings.thumbnailOnly;
}

} // namespace

bool ParseOptions(const std::vector<std::string>& arguments, Options& options, std::string& error)
{
    std::string name = "framegrab";
    std::vector<char*> words{name.data()};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str())); // read only: "+" lets getopt reorder nothing
    }
    words.push_back(nullptr);

    Options result;
    result.settings.frames.Add(1);
    result.settings.buffers = {Buffer::Color};
    std::size_t remaining = 0;
    if (!ReadOptions(words, result, remaining, error)) {
        return false;
    }
    result.program.assign(arguments.begin() + static_cast<std::ptrdiff_t>(remaining - 1), arguments.end());
    if (result.answer == Options::Answer::None && !FitTogether(result, error)) {
        return false;
    }
    if (result.settings.triggerFrames != 0) {
        result.settings.frames = {};
    }
    ChooseValues(result);
    options = std::move(result);
    return true;
}

} // namespace Framegrab
