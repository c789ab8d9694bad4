// Input: the value of -loglevel, -logzones and -logiopipe.

#include "Require.h"
#include "Util/LogUtils.h"
#include "Util/String.h"
#include "support/RecordingLog.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace {

using Core::Log;

const std::map<std::string, std::uint64_t> ZoneNames{
    {"application", 1U << 0},   {"capture", 1U << 1},
    {"core", 1U << 2},          {"data", 1U << 3},
    {"playback", 1U << 4},      {"util", 1U << 5},
    {"dll", 1U << 6},           {"stats", 1U << 7},
    {"apicalls", 1U << 20},     {"playbackobjectid", 1U << 21},
    {"all", ~std::uint64_t{0}},
};

const std::map<std::string, std::uint64_t> PipeNames{
    {"debugger", 1U << 0},
    {"console", 1U << 1},
    {"file", 1U << 2},
    {"all", 0xFFFFFFFF},
};

/// What printf shows of a text: it ends at the first NUL.
std::string Shown(const std::string& text)
{
    return text.substr(0, text.find('\0'));
}

/// Requires an option to set the mask that its value names, and to warn about the rest.
void Check(const std::string& value, void (*parse)(const std::string&),
           const std::map<std::string, std::uint64_t>& names, const std::string& option,
           const std::string& subject, const auto& setting)
{
    TestSupport::ClearLog();
    const std::uint64_t before = setting;
    parse(value);

    std::uint64_t mask = 0;
    std::vector<std::string> texts;
    std::string token;
    const auto finish = [&] {
        const auto found = names.find(token);
        if (found != names.end()) {
            mask |= found->second;
        } else {
            texts.push_back("Unrecognized log " + subject + " bitfield: " + Shown(token) + ".");
        }
        token.clear();
    };
    for (const char c : value) {
        if (c == '|' || c == ':') {
            finish();
        } else {
            token += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
    }
    if (!value.empty()) {
        finish();
    }
    if (mask == 0) {
        texts.push_back("Ignoring " + option + " option because the specified value is invalid.");
    }
    Require(setting == (mask == 0 ? before : mask));
    Require(TestSupport::LogTexts() == texts);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > 4096) {
        return 0; // The recorder cuts longer messages.
    }
    const std::string value(data, data + size);
    Check(value, &Util::ParseCmdArgsLogZone, ZoneNames, "-logzones", "zone", Log::m_zoneMask);
    Check(value, &Util::ParseCmdArgsLogIOPipe, PipeNames, "-logiopipe", "iopipe", Log::m_ioPipeMask);

    TestSupport::ClearLog();
    const std::uint32_t before = Log::m_level;
    const int level = Util::String::ToInt(value);
    const bool isLevel = level >= 0 && level <= 5;
    Util::ParseCmdArgsLogLevel(value);
    Require(Log::m_level == (isLevel ? static_cast<std::uint32_t>(level) : before));
    Require(TestSupport::LogEntries().size() == (isLevel ? 0 : 1));

    TestSupport::ClearLog();
    const std::uint32_t pipes = Log::m_ioPipeMask;
    Util::PrintMessageAndBackspaces(value);
    Require(TestSupport::LogTexts() == std::vector<std::string>{Shown(value), std::string(size, '\b')});
    Require(Log::m_ioPipeMask == pipes);
    return 0;
}
