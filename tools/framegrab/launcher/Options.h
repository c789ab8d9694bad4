#pragma once

#include "launcher/PictureWriter.h"
#include "shared/Settings.h"

#include <span>
#include <string>
#include <vector>

namespace Framegrab {

/// What a command line of framegrab says.
struct Options
{
    /// A text that framegrab prints instead of running a program.
    enum class Answer
    {
        None,
        Help,
        ManPage,
        Completion,
        Version,
    };

    Settings settings;
    FileSettings files;               ///< the folder as the user wrote it; empty when it was not given
    std::size_t memory = 0;           ///< bytes for pictures; 0 when it was not given
    std::size_t threads = 0;          ///< that write pictures; 0 when it was not given
    double timeout = 0;               ///< seconds; 0 for none
    std::vector<std::string> program; ///< the program and its arguments
    bool hasFrames = false;           ///< `-frames` was given
    Answer answer = Answer::None;
};

/// A row of the one table of which the command line is read and of which help, man page and completion are
/// made.
struct OptionRow
{
    /// What completion offers for a value.
    enum class Offer
    {
        Nothing,
        Words,     ///< one of `words`
        WordLists, ///< several of them with commas between
        Folders,
    };

    const char* name;  ///< without the dash
    const char* value; ///< what stands for its value in the help; null: it takes none
    const char* help;  ///< with the default; wrapped where it is printed

    /// Reads a value into the options.
    ///
    /// @param error  why it is refused, in words
    bool (*read)(const std::string& value, Options& options, std::string& error);

    Offer offer = Offer::Nothing;
    std::span<const char* const> words{};
    bool isValueOptional = false; ///< then a next word that begins with a dash is none
};

/// The options in the order in which the help tells them.
extern const std::span<const OptionRow> OptionTable;

} // namespace Framegrab
