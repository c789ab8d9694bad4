// Input: a set of bytes (delimiters, bytes to trim), then, behind the first line end, a text: a command line,
// the value of an option, a number.

#include "Require.h"
#include "Util/LogUtils.h"
#include "Util/ParseArgs.h"
#include "Util/String.h"
#include "support/RecordingLog.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace Util;
using Core::Log;

/// Nothing is made up, and nothing is taken for an option that is none.
void ParseCmdLine(const std::string& line)
{
    ParseArgs::CmdLineArgs declared;
    declared.m_flagOptions = {"-v", "-both", "-", "-a b"};
    declared.m_valueOptions = {"-o", "-both", "-p", "-\"", "-\xFF"};
    ParseArgs::CmdLineArgs args = declared;
    const bool isKnown = ParseArgs::ParseCmdLine(line, &args);
    const auto isOfLine = [&](const std::string& text) { return line.find(text) != std::string::npos; };
    Require(isKnown ? args.m_error.empty() : args.m_error.starts_with('-') && isOfLine(args.m_error));
    Require(std::ranges::all_of(args.m_arguments, isOfLine));
    for (const std::string& flag : args.m_flags) {
        Require(declared.m_flagOptions.contains(flag));
    }
    for (const auto& [option, value] : args.m_values) {
        Require(declared.m_valueOptions.contains(option) && isOfLine(option) && isOfLine(value));
    }
    // The line as one of its own results.
    const ParseArgs::CmdLineArgs once = args;
    args.m_values["-o"] = line;
    Require(ParseArgs::ParseCmdLine(args.m_values["-o"], &args) == isKnown);
    Require(args.m_arguments.size() == 2 * once.m_arguments.size());
    Require(args.m_flags.size() == 2 * once.m_flags.size());
}

/// A warning for each token that names no bit, one more where none does, and then no change.
void ParseMask(const std::string& value, void (*parse)(const std::string&), const auto& mask)
{
    TestSupport::ClearLog();
    const auto before = mask.load();
    parse(value);
    const auto separators = std::ranges::count_if(value, [](char c) { return c == '|' || c == ':'; });
    const std::size_t tokens = value.empty() ? 0 : static_cast<std::size_t>(separators) + 1;
    const auto texts = TestSupport::LogTexts();
    const bool isIgnored = !texts.empty() && texts.back().starts_with("Ignoring -log");
    Require(isIgnored ? mask == before && texts.size() == tokens + 1 : mask != 0 && texts.size() < tokens);
}

/// The tokens with the delimiters between them are the text.
void Tokenize(const std::string& text, const std::string& delimiters)
{
    std::vector<std::string> tokens;
    Require((String::Tokenize(text, delimiters, &tokens) != 0) == (text.empty() || delimiters.empty()));
    std::string joined;
    for (const std::string& token : tokens) {
        joined += token;
        joined += joined.size() < text.size() ? text.substr(joined.size(), 1) : "";
        Require(token.find_first_of(delimiters) == std::string::npos);
    }
    Require(tokens.empty() || joined == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input(data, data + size);
    const std::size_t lineEnd = std::min(input.find('\n'), input.size());
    const std::string bytes = input.substr(0, lineEnd);
    const std::string text = input.substr(std::min(lineEnd + 1, input.size()));
    ParseCmdLine(text);
    ParseMask(text, &ParseCmdArgsLogZone, Log::m_zoneMask);
    ParseMask(text, &ParseCmdArgsLogIOPipe, Log::m_ioPipeMask);
    Tokenize(text, bytes);
    const std::string trimmed = String::Trim(text, bytes);
    Require(trimmed.find_first_of(bytes) != 0 &&
            (trimmed.empty() || bytes.find(trimmed.back()) == std::string::npos));
    Require(text.find(trimmed) != std::string::npos);
    const int value = String::ToInt(text);
    for (const unsigned int base : {8U, 10U, 16U}) {
        Require(String::ToInt(String::FromInt(value, base)) == value);
    }
    return 0;
}
