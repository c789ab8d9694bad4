#pragma once

#include "Util/Export.h"

#include <map>
#include <set>
#include <string>
#include <vector>

/// A command line in one string, taken apart by the option names that the host declares.
namespace Util::ParseArgs {

/// What is known of the options, and what was found on the command line.
struct CmdLineArgs
{
    // Filled by the host, only read by the parser. Names are written with their leading dash.

    std::set<std::string> m_flagOptions;  ///< options without a value
    std::set<std::string> m_valueOptions; ///< options with a value

    // Filled by the parser, which adds to what it finds there.

    /// The words that are neither options nor values, in their order.
    std::vector<std::string> m_arguments;
    /// The options without a value, in their order and as often as they came.
    std::vector<std::string> m_flags;
    /// The last value of each option with a value; empty where none followed.
    std::map<std::string, std::string> m_values;
    /// The token that ended the parse.
    std::string m_error;
};

/// Takes a command line apart.
///
/// Tokens stand between white space (`isspace`). One that begins with a double quote extends to the next
/// double quote, or to the end of the line, and may hold anything else; there is no escape. Any other ends
/// before white space or at an equals sign, one as its first byte excepted.
///
/// | token | meaning |
/// |---|---|
/// | `-name` | an option: of the names without a value, or else of those with one, which then has an empty value |
/// | `-name=` | an option with a value; what it had as its value stays until the next one comes |
/// | `name=` | nothing, it is dropped |
/// | `word`, `"quoted word"` | value of the last option with a value, if that has none yet; else an argument |
///
/// Between an option and its value there may be options without a value. The last value of an option counts.
/// A value that begins with a dash must be quoted; the closing quote may be missing at the end of the line
/// only for a word that does not begin with a dash, since that is taken for an option.
///
/// @param commandLine  may be one of the strings of `args`
/// @param args         names and results
/// @return true once the whole line was read. False at an option that is not declared, or is not one with a
///         value but is followed by an equals sign: `m_error` holds it then, `m_flags` too if it is the name
///         of an option without a value, and what came before it is kept. False with `m_error` untouched when
///         `args` is null or memory runs out.
/// @note Throws and logs nothing; any thread, as long as no other uses `args`.
UTIL_EXPORT bool ParseCmdLine(const std::string& commandLine, CmdLineArgs* args);

} // namespace Util::ParseArgs
