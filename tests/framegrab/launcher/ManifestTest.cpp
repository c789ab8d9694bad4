#include "launcher/Manifest.h"

#include "support/FileSizeLimit.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>

namespace Framegrab {

namespace {

using nlohmann::json;
using testing::HasSubstr;

class ManifestTest : public testing::Test
{
protected:
    void Open(const std::vector<std::string>& command)
    {
        std::string error;
        ASSERT_TRUE(manifest.Open(folder.Path(), command, error)) << error;
    }

    static PictureFile File(std::uint64_t frame)
    {
        PictureFile file{.picture = {}, .name = "picture.png", .bytes = 5000};
        file.picture.width = 640;
        file.picture.height = 480;
        file.picture.frame = frame;
        return file;
    }

    json Read() { return json::parse(TestSupport::ReadFile(path)); }

    TestSupport::TemporaryFolder folder;
    std::string path = folder.File(Manifest::FileName);
    Manifest manifest;
};

TEST_F(ManifestTest, IsValidAfterEachStep)
{
    Open({"program", "-a", "\"b\nc\""});
    json read = Read();
    EXPECT_EQ(read["version"], 1);
    EXPECT_EQ(read["arguments"], json({"-a", "\"b\nc\""}));
    EXPECT_EQ(read["files"], json::array());

    PictureFile file = File(60);
    file.picture.target = 2;
    file.picture.buffer = Buffer::Depth;
    file.picture.format = FixedText<48>("D24");
    file.picture.internalFormat = GL_DEPTH_COMPONENT24;
    file.valuesName = "picture.exr";
    file.valuesBytes = 9000;
    file.picture.readAt = 1'795'414'328'123'456'789;
    file.writeTime = 2'500'000;
    file.depthRange = DepthRange{.least = 0.5F, .greatest = 0.75F};
    manifest.Add(file);
    read = Read();
    EXPECT_EQ(read["files"][0]["attachment"], json());
    EXPECT_EQ(read["files"][0]["readAt"], 1795414328.123456);
    read["files"][0].merge_patch({{"readAt", nullptr}, {"attachment", nullptr}});
    EXPECT_EQ(read["files"][0], json({{"name", "picture.png"},
                                      {"kind", "depth"},
                                      {"thumbnail", false},
                                      {"frame", 60},
                                      {"process", 1},
                                      {"surface", 1},
                                      {"target", 2},
                                      {"width", 640},
                                      {"height", 480},
                                      {"format", "D24"},
                                      {"internalFormat", "GL_DEPTH_COMPONENT24"},
                                      {"values", "picture.exr"},
                                      {"valuesBytes", 9000},
                                      {"samples", 0},
                                      {"bytes", 5000},
                                      {"status", 0},
                                      {"readSeconds", 0.0},
                                      {"writtenAt", 0.0},
                                      {"writeSeconds", 0.0025},
                                      {"depthRange", {0.5, 0.75}}}));

    manifest.SetDriver(1, "GL_VENDOR: one\nGL_RENDERER: a \xFF: driver\n");
    manifest.Add(File(61));
    manifest.Finish("62-70", 1);
    read = Read();
    EXPECT_EQ(read["files"].size(), 2U);
    EXPECT_EQ(read["drivers"]["1"], json({{"GL_RENDERER", "a \uFFFD: driver"},
                                          {"GL_RENDERERBase64", "YSD/OiBkcml2ZXI="},
                                          {"GL_VENDOR", "one"}}));
    EXPECT_EQ(read["missing"], "62-70");
    EXPECT_EQ(read["status"], 1);
}

TEST_F(ManifestTest, KeepsTheBytesOfNamesThatAreNotUtf8)
{
    Open({"caf\xE9", "fine", "\xFF\xFE"});
    const json read = Read();
    EXPECT_EQ(read["program"], "caf\uFFFD");
    EXPECT_EQ(read["programBase64"], "Y2Fm6Q==");
    EXPECT_EQ(read["arguments"][0], "fine");
    EXPECT_EQ(read["argumentsBase64"], json({"ZmluZQ==", "//4="}));
}

TEST_F(ManifestTest, IsValidUpToWhereTheDiskWasFull)
{
    Open({"program"});
    {
        const auto disposition = std::signal(SIGXFSZ, SIG_IGN); // as framegrab does
        const TestSupport::FileSizeLimit limit(1500);
        for (std::uint64_t frame = 1; frame <= 9; ++frame) {
            manifest.Add(File(frame));
        }
        manifest.Finish("", 1);
        std::signal(SIGXFSZ, disposition);
    }
    EXPECT_THAT(manifest.Error(), HasSubstr("is not whole: File too large"));
    const std::size_t count = Read()["files"].size();
    EXPECT_GT(count, 0U);
    EXPECT_LT(count, 9U);
}

TEST_F(ManifestTest, ReplacesItsOwnAlone)
{
    Open({"one"});
    Manifest next;
    std::string error;
    EXPECT_TRUE(next.Open(folder.Path(), {"two"}, error)) << error;
    EXPECT_EQ(Read()["program"], "two");
    std::ofstream(path) << "{}";
    EXPECT_FALSE(next.Open(folder.Path(), {"three"}, error));
    EXPECT_THAT(error, HasSubstr("is not framegrab's"));
}

} // namespace

} // namespace Framegrab
