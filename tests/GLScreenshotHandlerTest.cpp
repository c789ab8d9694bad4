#include "Util/GLScreenshotHandler.h"

#include "Playback/PlaybackEnvironment.h"
#include "support/FailingAllocation.h"
#include "support/FileSizeLimit.h"
#include "support/Image.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <set>

namespace {

using Playback::PlaybackEnvironment;
using testing::ElementsAre;
using Util::GLScreenshotHandler;
using Util::ScreenshotWriter;
using Bytes = std::vector<std::uint8_t>;

constexpr auto MaxUnsigned = std::numeric_limits<std::uint32_t>::max();
constexpr auto MaxSigned = std::numeric_limits<std::int32_t>::max();
constexpr auto Infinity = std::numeric_limits<float>::infinity();

template <typename Component>
Bytes BytesOf(const std::vector<Component>& components)
{
    Bytes bytes(components.size() * sizeof(Component));
    std::memcpy(bytes.data(), components.data(), bytes.size());
    return bytes;
}

class EncodingTest : public testing::Test
{
protected:
    EncodingTest() { TestSupport::ClearLog(); }
    ~EncodingTest() override { PlaybackEnvironment::Instance().InitDefaultSettings(); }

    /// Writes a BMP and returns the bytes behind its header.
    Bytes PixelsOfBMP(std::uint32_t width, std::uint32_t height, const Bytes& pixels, GLenum type)
    {
        GLScreenshotHandler handler(ScreenshotWriter::FormatBMP);
        EXPECT_EQ(handler.WriteScreenshot(m_name, width, height, pixels.data(), GL_RGBA, type), 0U);
        const std::string file = TestSupport::ReadFile(m_name + ".bmp");
        EXPECT_GE(file.size(), 54U);
        return {file.begin() + 54, file.end()};
    }

    TestSupport::TemporaryFolder m_folder;
    const std::string m_name = m_folder.File("shot");
};

TEST_F(EncodingTest, ComponentsAreTruncatedTo8Bits)
{
    struct Row
    {
        const char* name;
        GLenum type;
        Bytes rgba;
        Bytes bgra;
    };
    const std::vector<Row> rows{
        {"bytes", GL_UNSIGNED_BYTE, {10, 20, 30, 40}, {30, 20, 10, 40}},
        {"floats", GL_FLOAT, BytesOf<float>({0.5F, 0.25F, 1.0F, 0.0F}), {255, 63, 127, 0}},
        {"floats out of range",
         GL_FLOAT,
         BytesOf<float>({2.0F, -1.0F, Infinity, -Infinity}),
         {255, 0, 255, 0}},
        {"floats beyond 32 bits", GL_FLOAT, BytesOf<float>({1e30F, NAN, -NAN, 0.999F}), {0, 0, 255, 254}},
        {"unsigned",
         GL_UNSIGNED_INT,
         BytesOf<std::uint32_t>({MaxUnsigned, 0x80000000U, 0, 0x01020304U}),
         {0, 127, 255, 1}},
        {"signed",
         GL_INT,
         BytesOf<std::int32_t>({MaxSigned, -1, 0x40000000, -MaxSigned - 1}),
         {127, 0, 255, 0}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(PixelsOfBMP(1, 1, row.rgba, row.type), row.bgra) << row.name;
        PlaybackEnvironment::Instance().m_opaqueScreenshots = true;
        Bytes opaque = row.bgra;
        opaque[3] = 255;
        EXPECT_EQ(PixelsOfBMP(1, 1, row.rgba, row.type), opaque) << row.name << ", opaque";
        PlaybackEnvironment::Instance().m_opaqueScreenshots = false;
    }
}

TEST_F(EncodingTest, RowsKeepTheirPlaceAtEverySize)
{
    struct Kind
    {
        ScreenshotWriter::ImageFormat format;
        Util::PNGEncoding encoding;
        bool isBGRA;
        bool opaque;
    };
    const Kind kinds[]{{ScreenshotWriter::FormatBMP, Util::PNGSmall, false, false},
                       {ScreenshotWriter::FormatBMP, Util::PNGSmall, true, false},
                       {ScreenshotWriter::FormatBMP, Util::PNGSmall, true, true},
                       {ScreenshotWriter::FormatPNG, Util::PNGSmall, false, false},
                       {ScreenshotWriter::FormatPNG, Util::PNGSmall, false, true},
                       {ScreenshotWriter::FormatPNG, Util::PNGSmall, true, true},
                       {ScreenshotWriter::FormatPNG, Util::PNGFast, false, false},
                       {ScreenshotWriter::FormatPNG, Util::PNGFast, false, true},
                       {ScreenshotWriter::FormatPNG, Util::PNGFast, true, false},
                       {ScreenshotWriter::FormatPNG, Util::PNGFast, true, true}};
    // Narrower than, as wide as and wider than the block that pixels are converted in.
    for (const auto& [width, height] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {2, 2}, {1, 140000}, {131072, 2}, {131073, 3}, {127, 131}}) {
        SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
        std::vector<std::uint32_t> pixels(std::size_t{width} * height);
        std::uint32_t seed = 1;
        std::generate(pixels.begin(), pixels.end(), [&seed] { return seed = seed * 1664525 + 1013904223; });
        std::set<std::string> files;
        for (const auto& [format, encoding, isBGRA, opaque] : kinds) {
            GLScreenshotHandler handler(format);
            ASSERT_EQ(handler.WriteScreenshot({.fileName = m_name,
                                               .width = width,
                                               .height = height,
                                               .format = GL_RGBA,
                                               .type = GL_UNSIGNED_BYTE,
                                               .isBGRA = isBGRA,
                                               .pixels = reinterpret_cast<std::uint8_t*>(pixels.data()),
                                               .opaque = opaque,
                                               .encoding = encoding}),
                      0U);
            const std::string path = m_name + (format == ScreenshotWriter::FormatPNG ? ".png" : ".bmp");
            files.insert(TestSupport::ReadFile(path));
            const auto image = TestSupport::LoadImage(path);
            ASSERT_EQ(image.width, static_cast<int>(width));
            ASSERT_EQ(image.height, static_cast<int>(height));
            int wrong = 0;
            for (std::size_t i = 0; i < pixels.size(); ++i) {
                const std::size_t flipped = (height - 1 - i / width) * width + i % width;
                TestSupport::Pixel pixel{};
                std::memcpy(pixel.data(), &pixels[flipped], 4);
                std::swap(pixel[0], pixel[isBGRA ? 2 : 0]);
                pixel[3] = opaque ? 255 : pixel[3];
                wrong += image.pixels[i] != pixel;
            }
            EXPECT_EQ(wrong, 0) << format << " " << encoding << " " << isBGRA << " " << opaque;
        }
        EXPECT_EQ(files.size(), std::size(kinds)) << "the encoding counts as well";
    }
}

TEST_F(EncodingTest, WriteAsBGRAByItself)
{
    const Bytes rows{1, 2, 3, 4, 5, 6, 7, 8};
    GLScreenshotHandler handler(ScreenshotWriter::FormatBMP);
    const auto write = [&](const std::uint8_t* pixels, std::uint32_t height, GLenum format, bool flip) {
        return handler.WriteAsBGRA(pixels, 1, height, format, GL_UNSIGNED_BYTE, flip, !flip);
    };
    EXPECT_EQ(write(rows.data(), 2, GL_RGBA, true), 9U);
    ASSERT_EQ(handler.CreateBMPFile(m_name, 1, 4), 0U);
    EXPECT_EQ(write(rows.data(), 2, GL_RGBA, true), 0U);
    EXPECT_EQ(write(rows.data(), 2, GL_RGBA, false), 0U);
    EXPECT_EQ(write(nullptr, 0, GL_RGBA, false), 0U);
    EXPECT_EQ(write(nullptr, 1, GL_RGBA, false), 1U);
    EXPECT_EQ(write(rows.data(), 1, GL_RGB, false), 1U);
    EXPECT_EQ(handler.CloseFile(), 0U);
    const std::string file = TestSupport::ReadFile(m_name);
    EXPECT_EQ(Bytes(file.begin() + 54, file.end()),
              (Bytes{7, 6, 5, 8, 3, 2, 1, 4, 3, 2, 1, 255, 7, 6, 5, 255}));
    ASSERT_EQ(handler.CreatePNGFile(m_name, 1, 1, true), 0U);
    EXPECT_EQ(write(rows.data(), 2, GL_RGBA, true), 6U);
}

TEST_F(EncodingTest, RefusesBeforeItMakesAFile)
{
    struct Row
    {
        const char* name;
        ScreenshotWriter::ImageFormat kind;
        const std::uint8_t* pixels;
        GLenum format;
        GLenum type;
        std::uint32_t status;
        std::vector<std::string> messages;
        bool isBGRA = false;
    };
    const Bytes pixels(64);
    const std::string notCreated = "Screenshot failed: Could not create image file " + m_name;
    const std::string unrecognized = "Screenshot failed: Unrecognized image file format ";
    const auto bmp = ScreenshotWriter::FormatBMP;
    const auto dds = ScreenshotWriter::FormatDDS;
    const std::vector<Row> rows{
        {"DDS", dds, pixels.data(), GL_RGBA, GL_UNSIGNED_BYTE, 8, {unrecognized + "3", notCreated}},
        {"kind before layout", dds, nullptr, 0, 0, 8, {unrecognized + "3", notCreated}},
        {"unknown kind",
         static_cast<ScreenshotWriter::ImageFormat>(77),
         pixels.data(),
         GL_RGBA,
         GL_FLOAT,
         8,
         {unrecognized + "77", notCreated}},
        {"integers", bmp, pixels.data(), GL_RGBA_INTEGER, GL_INT, 1, {notCreated + ".bmp"}},
        {"three components", bmp, pixels.data(), GL_RGB, GL_UNSIGNED_BYTE, 1, {notCreated + ".bmp"}},
        {"no pixels", bmp, nullptr, GL_RGBA, GL_UNSIGNED_BYTE, 1, {notCreated + ".bmp"}},
        {"B, G, R, A of floats", bmp, pixels.data(), GL_RGBA, GL_FLOAT, 1, {notCreated + ".bmp"}, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        TestSupport::ClearLog();
        GLScreenshotHandler handler(row.kind);
        EXPECT_EQ(handler.WriteScreenshot({.fileName = m_name,
                                           .width = 1,
                                           .height = 1,
                                           .format = row.format,
                                           .type = row.type,
                                           .isBGRA = row.isBGRA,
                                           .pixels = row.pixels}),
                  row.status);
        EXPECT_EQ(TestSupport::LogTexts(), row.messages);
        EXPECT_TRUE(std::filesystem::is_empty(m_folder.Path()));
    }
}

TEST_F(EncodingTest, ImagesWithoutPixels)
{
    EXPECT_EQ(PixelsOfBMP(5, 0, {}, GL_UNSIGNED_BYTE), Bytes{});
    EXPECT_EQ(PixelsOfBMP(0, 5, {}, GL_FLOAT), Bytes{});
    GLScreenshotHandler png(ScreenshotWriter::FormatPNG);
    EXPECT_EQ(png.WriteScreenshot(m_name, 0, 5, nullptr, GL_RGBA, GL_UNSIGNED_BYTE), 1U);
}

TEST_F(EncodingTest, AFileCutShortIsNoSuccess)
{
    for (const auto format : {ScreenshotWriter::FormatBMP, ScreenshotWriter::FormatPNG}) {
        const std::string path = m_name + (format == ScreenshotWriter::FormatPNG ? ".png" : ".bmp");
        const TestSupport::FileSizeLimit limit(56); // the header fits
        for (const GLenum type : std::vector<GLenum>{GL_UNSIGNED_BYTE, GL_FLOAT}) {
            GLScreenshotHandler handler(format);
            const Bytes pixel(16);
            TestSupport::ClearLog();
            EXPECT_EQ(handler.WriteScreenshot(m_name, 1, 1, pixel.data(), GL_RGBA, type), 1U);
            EXPECT_EQ(TestSupport::LogTexts().front(), path + " cannot be written: File too large");
            EXPECT_EQ(TestSupport::LogTexts().back(), "Screenshot failed: Error writing image file " + path);
            EXPECT_EQ(handler.CloseFile(), 9U);
        }
    }
    GLScreenshotHandler handler(ScreenshotWriter::FormatPNG);
    const Bytes pixel{1, 2, 3, 4};
    TestSupport::ClearLog();
    EXPECT_EQ(handler.WriteScreenshot("/no/such/shot", 1, 1, pixel.data(), GL_RGBA, GL_UNSIGNED_BYTE), 1U);
    EXPECT_THAT(TestSupport::LogTexts(),
                ElementsAre("/no/such/shot.png cannot be created: No such file or directory",
                            "ScreenshotWriter::CreatePNGFile failed",
                            "Screenshot failed: Could not create image file /no/such/shot.png"));
    EXPECT_EQ(
        handler.WriteScreenshot(m_folder.File("shot.png"), 1, 1, pixel.data(), GL_RGBA, GL_UNSIGNED_BYTE),
        0U);
    EXPECT_EQ(TestSupport::LoadImage(m_folder.File("shot.png.png")).At(0, 0),
              (TestSupport::Pixel{1, 2, 3, 4}));
}

TEST_F(EncodingTest, AnAllocationThatFailsIsAStatus)
{
    const std::string name = m_folder.File("a-name-too-long-to-be-stored-without-an-allocation");
    const Bytes pixel{1, 2, 3, 4};
    std::size_t failures = 0;
    for (bool hasFailed = true; hasFailed && failures < 100; failures += hasFailed) {
        GLScreenshotHandler handler(ScreenshotWriter::FormatPNG);
        std::uint32_t status = 77;
        {
            const TestSupport::FailingNew failing(failures);
            status = handler.WriteScreenshot(name, 1, 1, pixel.data(), GL_RGBA, GL_UNSIGNED_BYTE);
            hasFailed = failing.HasFailed();
        }
        EXPECT_EQ(status, hasFailed ? 1U : 0U) << failures;
        EXPECT_EQ(handler.CloseFile(), 9U);
    }
    EXPECT_GE(failures, 1U) << "the path";
}

} // namespace
