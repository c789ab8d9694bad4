// Input: the value of -loglevel, -logzones and -logiopipe.

#include "Require.h"
#include "Util/LogUtils.h"
#include "support/RecordingLog.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

using Core::Log;

/// Requires a warning for each token that names no bit, one more where none does, and then no change.
void Check(const std::string& value, void (*parse)(const std::string&), const auto& mask)
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string value(data, data + size);
    Check(value, &Util::ParseCmdArgsLogZone, Log::m_zoneMask);
    Check(value, &Util::ParseCmdArgsLogIOPipe, Log::m_ioPipeMask);
    Check("core|" + value, &Util::ParseCmdArgsLogZone, Log::m_zoneMask);

    TestSupport::ClearLog();
    const std::uint32_t before = Log::m_level;
    Util::ParseCmdArgsLogLevel(value);
    Require(TestSupport::LogTexts().empty() ? Log::m_level <= 5 : Log::m_level == before);
    return 0;
}
