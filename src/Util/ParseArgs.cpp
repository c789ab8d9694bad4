#include "Util/ParseArgs.h"

#include "Util/NoThrow.h"

#include <algorithm>
#include <cctype>

namespace Util::ParseArgs {

namespace {

bool IsBlank(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

/// Gives the tokens of a line their meaning, one after the other. False from a function ends the parse.
class Interpreter
{
public:
    explicit Interpreter(CmdLineArgs& args) : m_args(args) {}

    /// A token that ended before white space or at the end of the line.
    bool Word(const std::string& token)
    {
        if (!token.starts_with('-')) {
            return Literal(token);
        }
        if (m_args.m_flagOptions.contains(token)) {
            m_args.m_flags.push_back(token);
            return true;
        }
        if (m_args.m_valueOptions.contains(token)) {
            m_args.m_values[token].clear();
            m_pendingOption = token;
            return true;
        }
        return Unknown(token);
    }

    /// A token that ended at an equals sign.
    bool Name(const std::string& token)
    {
        if (!token.starts_with('-')) {
            return true;
        }
        if (m_args.m_valueOptions.contains(token)) {
            m_pendingOption = token;
            return true;
        }
        if (m_args.m_flagOptions.contains(token)) {
            m_args.m_flags.push_back(token);
        }
        return Unknown(token);
    }

    /// A token that cannot be an option.
    bool Literal(const std::string& token)
    {
        if (m_pendingOption.empty()) {
            m_args.m_arguments.push_back(token);
        } else {
            m_args.m_values[m_pendingOption] = token;
            m_pendingOption.clear();
        }
        return true;
    }

private:
    bool Unknown(const std::string& token)
    {
        m_args.m_error = token;
        return false;
    }

    CmdLineArgs& m_args;
    std::string m_pendingOption; ///< the one whose value is to come; empty for none
};

bool Parse(const std::string& line, CmdLineArgs& args)
{
    Interpreter interpreter(args);
    auto position = line.begin();
    while ((position = std::find_if_not(position, line.end(), IsBlank)) != line.end()) {
        if (*position == '"') {
            const auto close = std::find(position + 1, line.end(), '"');
            const std::string token(position + 1, close);
            if (close == line.end()) {
                return interpreter.Word(token);
            }
            interpreter.Literal(token);
            position = close + 1;
            continue;
        }
        const auto end =
            std::find_if(position + 1, line.end(), [](char c) { return c == '=' || IsBlank(c); });
        const std::string token(position, end);
        const bool isName = end != line.end() && *end == '=';
        if (!(isName ? interpreter.Name(token) : interpreter.Word(token))) {
            return false;
        }
        position = isName ? end + 1 : end;
    }
    return true;
}

} // namespace

bool ParseCmdLine(const std::string& commandLine, CmdLineArgs* args)
{
    // On a copy, since the line may be one of the strings that are about to change.
    return args && NoThrow([&] { return Parse(std::string(commandLine), *args); });
}

} // namespace Util::ParseArgs
