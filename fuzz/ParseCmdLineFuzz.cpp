// Input: a command line. Requires the parser to find what one that goes byte by byte finds.

#include "Require.h"
#include "Util/ParseArgs.h"

#include <cctype>
#include <cstdint>
#include <string>

namespace {

using Util::ParseArgs::CmdLineArgs;

CmdLineArgs Declared()
{
    CmdLineArgs args;
    args.m_flagOptions = {"-v", "-both", "-", "-a b"};
    args.m_valueOptions = {"-o", "-both", "-p", "-\"", "-\xFF"};
    return args;
}

/// A parser that is a state machine over the bytes of the line.
class Machine
{
public:
    explicit Machine(CmdLineArgs& args) : m_args(args) {}

    bool Parse(const std::string& line)
    {
        for (const char c : line) {
            if (!Byte(c)) {
                return false;
            }
        }
        return m_state == Outside || Finish();
    }

private:
    enum State
    {
        Outside,
        Plain,
        Quoted
    };

    bool Byte(char c)
    {
        const bool isBlank = std::isspace(static_cast<unsigned char>(c)) != 0;
        if (m_state == Outside) {
            if (!isBlank) {
                m_state = c == '"' ? Quoted : Plain;
                m_token = c == '"' ? "" : std::string(1, c);
            }
            return true;
        }
        if (m_state == Quoted && c == '"') {
            m_state = Outside;
            Store();
            return true;
        }
        if (m_state == Plain && (isBlank || c == '=')) {
            m_state = Outside;
            return isBlank ? Finish() : FinishName();
        }
        m_token += c;
        return true;
    }

    bool Finish()
    {
        if (m_token.empty() || m_token[0] != '-') {
            Store();
        } else if (m_args.m_flagOptions.contains(m_token)) {
            m_args.m_flags.push_back(m_token);
        } else if (m_args.m_valueOptions.contains(m_token)) {
            m_args.m_values[m_token] = "";
            m_pending = m_token;
        } else {
            m_args.m_error = m_token;
            return false;
        }
        return true;
    }

    bool FinishName()
    {
        if (m_token[0] != '-') {
            return true;
        }
        if (m_args.m_valueOptions.contains(m_token)) {
            m_pending = m_token;
            return true;
        }
        if (m_args.m_flagOptions.contains(m_token)) {
            m_args.m_flags.push_back(m_token);
        }
        m_args.m_error = m_token;
        return false;
    }

    void Store()
    {
        if (m_pending.empty()) {
            m_args.m_arguments.push_back(m_token);
        } else {
            m_args.m_values[m_pending] = m_token;
            m_pending.clear();
        }
    }

    CmdLineArgs& m_args;
    State m_state = Outside;
    std::string m_token;
    std::string m_pending;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string line(data, data + size);
    CmdLineArgs expected = Declared();
    const bool isKnown = Machine(expected).Parse(line);
    CmdLineArgs args = Declared();
    Require(Util::ParseArgs::ParseCmdLine(line, &args) == isKnown);
    Require(args.m_arguments == expected.m_arguments);
    Require(args.m_flags == expected.m_flags);
    Require(args.m_values == expected.m_values);
    Require(args.m_error == expected.m_error);
    Require(args.m_flagOptions == Declared().m_flagOptions &&
            args.m_valueOptions == Declared().m_valueOptions);

    // The line as one of its own results.
    args.m_values["-o"] = line;
    Require(Util::ParseArgs::ParseCmdLine(args.m_values["-o"], &args) == isKnown);
    Require(args.m_arguments.size() == 2 * expected.m_arguments.size());
    Require(args.m_flags.size() == 2 * expected.m_flags.size());
    return 0;
}
