// What the helpers do when `new` throws: their result tells it, and nothing that the caller had is lost.

#include "Util/LogUtils.h"
#include "Util/ParseArgs.h"
#include "Util/Path.h"
#include "Util/String.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

namespace {

using namespace Util;

TEST(OutOfMemory, NothingIsThrown)
{
    const TestSupport::TemporaryFolder folder;
    const std::string text = "a text longer than | what a string | holds in itself";
    const std::wstring wide = String::ToWString(text);
    const std::string directory = folder.File(text);
    const std::string file = directory + "/" + text + "." + text;
    const std::string line = "-v -o \"" + text + "\" \"" + text + "\"";
    std::vector<std::string> tokens{"kept"};
    ParseArgs::CmdLineArgs args;
    args.m_flagOptions = {"-v"};
    args.m_valueOptions = {"-o"};
    args.m_error = "older";
    std::filesystem::create_directories(directory + "/" + text);

    const std::pair<const char*, std::function<bool()>> operations[]{
        {"ToWString", [&] { return String::ToWString(text).empty(); }},
        {"FromWString", [&] { return String::FromWString(wide).empty(); }},
        {"FromInt64", [&] { return String::FromInt64(-1, 16).empty(); }},
        {"FromDouble", [&] { return String::FromDouble(1e100).empty(); }},
        {"ToLower", [&] { return String::ToLower(text).empty(); }},
        {"ToUpper", [&] { return String::ToUpper(text).empty(); }},
        {"Tokenize", [&] { return String::Tokenize(text, "|", &tokens) == 6 && tokens.size() == 1; }},
        {"Trim", [&] { return String::Trim(text, " ").empty(); }},
        {"GetDirectory", [&] { return Path::GetDirectory(file).empty(); }},
        {"GetFilename", [&] { return Path::GetFilename(file).empty(); }},
        {"GetExtension", [&] { return Path::GetExtension(file).empty(); }},
        {"RemoveExtension", [&] { return Path::RemoveExtension(file).empty(); }},
        {"GetFilePart", [&] { return Path::GetFilePart(file).empty(); }},
        {"DeleteFolder", [&] { return !Path::DeleteFolder(directory); }},
        {"ParseCmdLine", [&] { return !ParseArgs::ParseCmdLine(line, &args) && args.m_error == "older"; }},
        {"LoggerCreateStdioWriter", [&] { return !LoggerCreateStdioWriter(directory); }},
    };
    for (const auto& [name, isRefused] : operations) {
        bool hasFailed = true;
        for (std::size_t index = 0; hasFailed; ++index) {
            const TestSupport::FailingNew failing(index);
            const bool refused = isRefused();
            hasFailed = failing.HasFailed();
            EXPECT_EQ(refused, hasFailed) << name << ", allocation " << index;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(directory));
    TestSupport::ClearLog();
}

} // namespace
