// Input: a command line.

#include "Require.h"
#include "Util/ParseArgs.h"

#include <algorithm>
#include <cstdint>
#include <string>

using Util::ParseArgs::CmdLineArgs;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string line(data, data + size);
    CmdLineArgs declared;
    declared.m_flagOptions = {"-v", "-both", "-", "-a b"};
    declared.m_valueOptions = {"-o", "-both", "-p", "-\"", "-\xFF"};
    CmdLineArgs args = declared;
    const bool isKnown = Util::ParseArgs::ParseCmdLine(line, &args);

    // Nothing is made up, and nothing is taken for an option that is none.
    const auto isOfLine = [&](const std::string& text) { return line.find(text) != std::string::npos; };
    Require(std::ranges::all_of(args.m_arguments, isOfLine) && isOfLine(args.m_error));
    Require(std::ranges::all_of(
        args.m_flags, [&](const std::string& flag) { return declared.m_flagOptions.contains(flag); }));
    Require(std::ranges::all_of(args.m_values, [&](const auto& value) {
        return declared.m_valueOptions.contains(value.first) && isOfLine(value.first) &&
               isOfLine(value.second);
    }));
    Require(isKnown ? args.m_error.empty() : args.m_error.starts_with('-'));
    Require(args.m_flagOptions == declared.m_flagOptions && args.m_valueOptions == declared.m_valueOptions);

    // The line as one of its own results.
    const CmdLineArgs once = args;
    args.m_values["-o"] = line;
    Require(Util::ParseArgs::ParseCmdLine(args.m_values["-o"], &args) == isKnown);
    Require(args.m_arguments.size() == 2 * once.m_arguments.size());
    Require(args.m_flags.size() == 2 * once.m_flags.size());
    return 0;
}
