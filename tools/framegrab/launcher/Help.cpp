#include "launcher/Help.h"

#include "framegrab/version.h"
#include "launcher/Options.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace Framegrab {

namespace {

constexpr std::string_view Synopsis = "framegrab [OPTIONS] -- PROGRAM [ARGUMENTS]";
constexpr std::string_view Purpose = "capture frames of an unmodified OpenGL ES program";

/// A part of the description. Paragraphs are on lines of their own; one that begins with a blank is shown as
/// it stands.
struct Section
{
    std::string_view title;
    std::string_view text;
};

constexpr Section Description{
    "Description",
    "Runs an OpenGL ES program and writes the frames asked for as picture files, as they are just before "
    "they are shown. Needs a context of OpenGL ES 3.0 or later, which many a driver gives to programs that "
    "ask for 2.0; framebuffer objects need 3.1. What a program shows through GLX instead of EGL is not "
    "seen.\n"
    "Pictures are read in the program and written by framegrab, which waits for the last of them when the "
    "program has ended; interrupt it twice to give them up. A program whose framegrab is killed goes on, "
    "uncaptured.\n"
    "An option begins with one dash or two; its value follows = or is the next word."};

constexpr std::array Sections{
    Section{
        "Files",
        "frame000060.png, frame000060_depth.png, frame000060_stencil.png, frame000060_thumbnail.png, "
        "frame000060_depth_thumbnail.png and so on; those of a second process of the program that shows "
        "frames are called frame000060-p2.png and so on. The page index.html shows them all.\n"
        "With -targets, those of the buffers that a framebuffer object has: "
        "frame000060_target001_color0.png, _color1, _depth, _stencil; 001 is the first that was drawn into "
        "and left. Left means: another one was bound, an attachment replaced or deleted, the contents "
        "invalidated, or the frame shown; one that is drawn into again has another number. Integer colors "
        "are captured with -stencil-colors or -format exr alone, which is no failure."},
    Section{
        "Exit status",
        "The program's own if that is not 0; 0 if every frame asked for was captured whole (of frames "
        "without an end, the first and all that came); 1 if not; 2 for a wrong option or an output folder "
        "that cannot be used; 126 or 127 for a program that cannot be started. After -quit has ended it, "
        "the program's counts as 0."},
    Section{"Examples", " framegrab -frames 1,60,100-110 -buffers color,depth -quit -- PROGRAM\n"
                        " framegrab -frames 1-/10 -thumbnail 320x240 -timeout 30 -- PROGRAM"},
};

/// Calls a function with each paragraph of a text.
template <typename Take>
void ForEachParagraph(std::string_view text, Take take)
{
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

/// Appends words in lines of less than 80 columns.
///
/// @param text    ends with the line that they begin on
/// @param indent  column that each line begins at
void AppendWrapped(std::string& text, std::string_view words, std::size_t indent)
{
    constexpr std::size_t Width = 79;
    std::size_t column = text.size() - (text.rfind('\n') + 1);
    while (!words.empty()) {
        const std::size_t size = std::min(words.find(' '), words.size());
        if (column > indent && column + 1 + size > Width) {
            text += '\n';
            column = 0;
        }
        const std::size_t blanks = column > indent ? 1 : indent - column;
        text.append(blanks, ' ').append(words.substr(0, size));
        column += blanks + size;
        words.remove_prefix(std::min(size + 1, words.size()));
    }
    text += '\n';
}

std::string ValueOf(const OptionRow& row)
{
    if (!row.value) {
        return "";
    }
    return row.isValueOptional ? std::string(" [") + row.value + "]" : std::string(" ") + row.value;
}

/// @return a text in which roff finds nothing to do
std::string EscapedForRoff(std::string_view text)
{
    std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char character : text) {
        if (character == '\\') {
            escaped += "\\e";
        } else {
            escaped += (character == '-' ? "\\" : "") + std::string(1, character);
        }
    }
    return escaped;
}

void AppendManSection(std::string& page, const Section& section)
{
    std::string title(section.title);
    std::transform(title.begin(), title.end(), title.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    page += ".SH " + title + "\n";
    ForEachParagraph(section.text, [&](std::string_view paragraph) {
        const bool isExample = paragraph.starts_with(' ');
        page += isExample ? ".EX\n" : ".PP\n";
        page += EscapedForRoff(paragraph) + (isExample ? "\n.EE\n" : "\n");
    });
}

/// @return what fills `COMPREPLY` with values of an option, as the shell has it; empty where there is nothing
///         to offer
std::string CompletionAction(const OptionRow& row)
{
    std::string words;
    for (const char* const word : row.words) {
        words += (words.empty() ? "" : " ") + std::string(word);
    }
    switch (row.offer) {
    case OptionRow::Offer::Nothing:
        break;
    case OptionRow::Offer::Words:
        return "COMPREPLY=($(compgen -W '" + words + "' -- \"$word\")); ";
    case OptionRow::Offer::WordLists:
        // Only the last word of the list is still to be found.
        return R"(local before=${word%"${word##*,}"}; COMPREPLY=($(compgen -P "$before" -W ')" + words +
               R"(' -- "${word#"$before"}")); )";
    case OptionRow::Offer::Folders:
        return "compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- \"$word\"); ";
    }
    return "";
}

/// @return the lines of a shell's `case` that complete the value of an option
std::string CompletionCase(const OptionRow& row)
{
    const std::string action = CompletionAction(row);
    const std::string start = std::string("        -") + row.name + ") ";
    if (!row.isValueOptional) {
        return start + action + "return ;;\n";
    }
    // Where there is nothing to offer, what comes next may as well be an option.
    return action.empty() ? "" : start + "[[ $sign || $word != -* ]] && { " + action + "return; } ;;\n";
}

} // namespace

std::string HelpText()
{
    constexpr std::size_t HelpColumn = 21;
    std::string text = "Usage: " + std::string(Synopsis) + "\n";
    ForEachParagraph(Description.text, [&](std::string_view words) { AppendWrapped(text, words, 0); });
    text += "\n";
    for (const OptionRow& row : OptionTable) {
        text += std::string("  -") + row.name + ValueOf(row);
        const std::size_t column = text.size() - (text.rfind('\n') + 1);
        text += column >= HelpColumn ? "\n" : "";
        AppendWrapped(text, row.help, HelpColumn);
    }
    for (const Section& section : Sections) {
        text.append("\n").append(section.title).append(":\n");
        ForEachParagraph(section.text, [&](std::string_view words) { AppendWrapped(text, words, 2); });
    }
    return text;
}

std::string ManPage()
{
    std::string page = ".TH FRAMEGRAB 1 \"\" \"framegrab " FRAMEGRAB_VERSION "\"\n"
                       ".SH NAME\nframegrab \\- " +
                       EscapedForRoff(Purpose) +
                       "\n.SH SYNOPSIS\n"
                       ".B framegrab\n[\\fIOPTIONS\\fR] \\-\\- \\fIPROGRAM\\fR [\\fIARGUMENTS\\fR]\n";
    AppendManSection(page, Description);
    page += ".SH OPTIONS\n";
    for (const OptionRow& row : OptionTable) {
        page += ".TP\n\\fB\\-" + EscapedForRoff(row.name) + "\\fR" + EscapedForRoff(ValueOf(row)) + "\n" +
                EscapedForRoff(row.help) + "\n";
    }
    for (const Section& section : Sections) {
        AppendManSection(page, section);
    }
    return page;
}

std::string BashCompletion()
{
    std::string names;
    std::string cases;
    for (const OptionRow& row : OptionTable) {
        names += std::string(names.empty() ? "" : " ") + row.name;
        cases += row.value ? CompletionCase(row) : "";
    }
    return R"(# bash completion for framegrab

_framegrab()
{
    local word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD-1]} sign= i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} == -- ]]; then
            if declare -F _command_offset >/dev/null; then
                _command_offset $((i + 1))
            elif ((COMP_CWORD == i + 1)); then
                mapfile -t COMPREPLY < <(compgen -c -- "$word")
            else
                compopt -o filenames 2>/dev/null
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
            fi
            return
        fi
    done
    # A sign and a colon are words of their own: bash splits there, too.
    if [[ $word == = ]]; then
        word= sign==
    elif [[ $option == = ]]; then
        option=${COMP_WORDS[COMP_CWORD-2]} sign==
    fi
    case ${option/#--/-} in
)" + cases +
           R"(    esac
    local dashes=-
    if [[ $word == --?* ]]; then
        dashes=--
    fi
    COMPREPLY=($(compgen -P $dashes -W ')" +
           names + R"(' -- "${word#"$dashes"}"))
}
complete -F _framegrab framegrab
)";
}

} // namespace Framegrab
