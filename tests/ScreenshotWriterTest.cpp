#include "Util/ScreenshotWriter.h"

#include "support/FailingAllocation.h"
#include "support/Image.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <numeric>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Util::ScreenshotWriter;

constexpr auto BMPFailed = "ScreenshotWriter::CreateBMPFile failed";
constexpr auto PNGFailed = "ScreenshotWriter::CreatePNGFile failed";
constexpr auto DDSFailed = "ScreenshotWriter::CreateDDSFile failed";
constexpr auto LibpngFailed = "An internal libpng failure occured.";

/// Accepts every byte until it is flushed, then has no room.
constexpr auto FullDisk = "/dev/full";

std::uint32_t Read32(const std::string& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

std::vector<std::uint8_t> Counting(std::size_t size)
{
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

std::size_t OpenDescriptors()
{
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(open), end(open)));
}

class ScreenshotWriterTest : public testing::Test
{
protected:
    ScreenshotWriterTest() { TestSupport::ClearLog(); }

    TestSupport::TemporaryFolder m_folder;
    ScreenshotWriter m_writer;
};

TEST_F(ScreenshotWriterTest, KnowsTheFormats)
{
    for (const std::uint32_t value : {0U, 1U, 2U, 3U, 4U, 5U}) {
        EXPECT_EQ(m_writer.SupportsFormat(static_cast<ScreenshotWriter::ImageFormat>(value)),
                  value != 0 && value != 4)
            << value;
    }
    EXPECT_THAT(TestSupport::LogTexts(), IsEmpty());
    EXPECT_FALSE(m_writer.SupportsFormat(static_cast<ScreenshotWriter::ImageFormat>(7)));
    EXPECT_THAT(TestSupport::LogTexts(), ElementsAre("Unrecognized screenshot image format 7"));
}

TEST_F(ScreenshotWriterTest, BMP)
{
    const std::string path = m_folder.File("image.bmp");
    ASSERT_EQ(m_writer.CreateBMPFile(path, 2, 3), 0U);
    const auto pixels = Counting(24);
    EXPECT_EQ(m_writer.WriteImageData(pixels.data(), 5), 0U);
    EXPECT_EQ(m_writer.WriteImageData(pixels.data() + 5, 0), 0U);
    EXPECT_EQ(m_writer.WriteImageData(pixels.data() + 5, 19), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);

    const std::string bytes = TestSupport::ReadFile(path);
    ASSERT_EQ(bytes.size(), 78U);
    EXPECT_EQ(bytes.substr(0, 2), "BM");
    const std::vector<std::pair<std::size_t, std::uint32_t>> fields{
        {2, 78}, {6, 0},  {10, 54}, {14, 40}, {18, 2}, {22, 3}, {26, 1 | 32 << 16},
        {30, 0}, {34, 0}, {38, 72}, {42, 72}, {46, 0}, {50, 0}};
    for (const auto& [offset, value] : fields) {
        EXPECT_EQ(Read32(bytes, offset), value) << "at " << offset;
    }
    // Another decoder sees the same pixels: bottom row first, B, G, R, A.
    const auto image = TestSupport::LoadImage(path);
    ASSERT_EQ(image.width, 2);
    EXPECT_EQ(image.At(0, 2), (TestSupport::Pixel{3, 2, 1, 4}));
    EXPECT_EQ(image.At(1, 0), (TestSupport::Pixel{23, 22, 21, 24}));
}

TEST_F(ScreenshotWriterTest, DDS)
{
    const std::string path = m_folder.File("image.dds");
    ASSERT_EQ(m_writer.CreateDDSFile(path, 640, 480, 7, 2560, 28, 3, 6), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);

    constexpr auto Word = [](const char(&text)[5]) {
        return static_cast<std::uint32_t>(text[0] | text[1] << 8 | text[2] << 16 | text[3] << 24);
    };
    std::vector<std::uint32_t> expected{Word("DDS "), 124,  0x100F, 480,
                                        640,          2560, 7}; // the rest of 0 to 72 is 0
    expected.resize(76 / 4);
    expected.insert(expected.end(), {32, 4, Word("DX10"), 0, 0, 0, 0, 0, 0x1000, 0, 0, 0, 0, 28, 3, 0, 6, 0});
    const std::string bytes = TestSupport::ReadFile(path);
    ASSERT_EQ(bytes.size(), 148U);
    std::vector<std::uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), bytes.size());
    EXPECT_EQ(words, expected);
}

/// Both encodings keep every promise of a PNG file.
class PNGTest : public ScreenshotWriterTest, public testing::WithParamInterface<ScreenshotWriter::PNGEncoding>
{
protected:
    PNGTest() { ScreenshotWriter::SetPNGEncoding(GetParam()); }
    ~PNGTest() override { ScreenshotWriter::SetPNGEncoding(ScreenshotWriter::PNGSmall); }
};

INSTANTIATE_TEST_SUITE_P(Encodings, PNGTest,
                         testing::Values(ScreenshotWriter::PNGSmall, ScreenshotWriter::PNGFast),
                         [](const auto& row) {
                             return row.param == ScreenshotWriter::PNGFast ? "Fast" : "Small";
                         });

std::vector<std::uint8_t> Noise(std::size_t size)
{
    std::vector<std::uint8_t> noise(size);
    std::uint32_t seed = 1;
    std::generate(noise.begin(), noise.end(), [&seed] { return (seed = seed * 1664525 + 1013904223) >> 24; });
    return noise;
}

TEST_P(PNGTest, EverySmallSizeOfBothColourTypes)
{
    const std::string path = m_folder.File("image.png");
    for (std::uint32_t width = 1; width <= 17; ++width) {
        for (std::uint32_t height = 1; height <= 17; ++height) {
            for (const std::size_t channels : {4U, 1U}) {
                const auto pixels = Noise(channels * width * height);
                ASSERT_EQ(m_writer.CreatePNGFile(path, width, height, channels == 4), 0U);
                ASSERT_EQ(m_writer.WriteImageData(pixels.data(), pixels.size()), 0U);
                ASSERT_EQ(m_writer.CloseFile(), 0U);
                const auto image = TestSupport::LoadImage(path);
                ASSERT_EQ(image.pixels.size(), std::size_t{width} * height);
                for (std::size_t i = 0; i < image.pixels.size(); ++i) {
                    const auto* p = &pixels[i * channels];
                    const auto expected = channels == 4 ? TestSupport::Pixel{p[2], p[1], p[0], p[3]}
                                                        : TestSupport::Pixel{p[0], p[0], p[0], 255};
                    ASSERT_EQ(image.pixels[i], expected) << width << " x " << height << ", pixel " << i;
                }
            }
        }
    }
}

TEST_P(PNGTest, RowsOfMegabytesAndAMillionRows)
{
    // Noise compresses least: the file may exceed the pixels by a hundredth at most.
    for (const auto& [width, height] : {std::pair{1000000U, 3U}, {1U, 1000000U}, {777U, 555U}}) {
        SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
        const std::string path = m_folder.File("image.png");
        const auto pixels = Noise(std::size_t{4} * width * height);
        ASSERT_EQ(m_writer.CreatePNGFile(path, width, height, true), 0U);
        ASSERT_EQ(m_writer.WriteImageData(pixels.data(), pixels.size()), 0U);
        ASSERT_EQ(m_writer.CloseFile(), 0U);
        EXPECT_FALSE(ScreenshotWriter::s_pngFailed);
        const std::size_t filterBytes = height; // a byte for each row's filter
        EXPECT_LE(std::filesystem::file_size(path), (pixels.size() + filterBytes) * 101 / 100);

        const auto image = TestSupport::LoadImage(path);
        ASSERT_EQ(image.pixels.size(), pixels.size() / 4);
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < image.pixels.size(); ++i) {
            const auto* p = &pixels[i * 4];
            wrong += image.pixels[i] != TestSupport::Pixel{p[2], p[1], p[0], p[3]};
        }
        EXPECT_EQ(wrong, 0U);
    }
}

TEST_P(PNGTest, AFailedAllocationIsAFailedFile)
{
    const auto pixels = Noise(64);
    std::size_t failures = 0;
    for (bool hasFailed = true; hasFailed && failures < 10; failures += hasFailed) {
        const std::string path = m_folder.File("image.png");
        std::uint32_t status = 0;
        {
            const TestSupport::FailingAllocation failing(failures);
            status = m_writer.CreatePNGFile(path, 4, 4, true);
            if (status == 0) {
                m_writer.WriteImageData(pixels.data(), pixels.size());
                m_writer.CloseFile();
            }
            hasFailed = failing.HasFailed();
        }
        EXPECT_EQ(status != 0 || ScreenshotWriter::s_pngFailed, hasFailed) << failures;
        EXPECT_EQ(m_writer.CloseFile(), 9U);
    }
    EXPECT_GE(failures, 2U);
    EXPECT_EQ(TestSupport::LoadImage(m_folder.File("image.png")).width, 4);
}

TEST_P(PNGTest, HoldsAsManyBytesAsItHasPixels)
{
    for (const bool rgba : {true, false}) {
        const std::size_t size = rgba ? 32 : 8;
        const auto pixels = Counting(size + 1);
        ASSERT_EQ(m_writer.CreatePNGFile(m_folder.File("image.png"), 4, 2, rgba), 0U);
        EXPECT_EQ(m_writer.WriteImageData(pixels.data(), size + 1), 6U) << "one byte too many";
        EXPECT_EQ(m_writer.WriteImageData(pixels.data(), 3), 0U);
        EXPECT_EQ(m_writer.WriteImageData(pixels.data() + 3, size - 2), 6U);
        EXPECT_EQ(m_writer.WriteImageData(pixels.data() + 3, size - 3), 0U);
        EXPECT_EQ(m_writer.CloseFile(), 0U);
        EXPECT_EQ(TestSupport::LoadImage(m_folder.File("image.png")).At(3, 1)[0], rgba ? 31 : 8);
    }
}

TEST_P(PNGTest, RowsNeverDeliveredAreZero)
{
    // Memory that held something before must not show.
    {
        const auto dirty = Counting(100 * 100 * 4);
    }
    const std::string path = m_folder.File("image.png");
    ASSERT_EQ(m_writer.CreatePNGFile(path, 100, 100, true), 0U);
    const auto row = Counting(400);
    EXPECT_EQ(m_writer.WriteImageData(row.data(), 400), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);

    const auto image = TestSupport::LoadImage(path);
    ASSERT_EQ(image.height, 100);
    EXPECT_EQ(image.At(0, 0), (TestSupport::Pixel{3, 2, 1, 4}));
    EXPECT_EQ(std::count(image.pixels.begin() + 100, image.pixels.end(), TestSupport::Pixel{}), 9900);
}

TEST_F(ScreenshotWriterTest, AnIdleWriterRefuses)
{
    const std::uint8_t byte = 0;
    EXPECT_EQ(m_writer.WriteImageData(&byte, 1), 9U);
    EXPECT_EQ(m_writer.CloseFile(), 9U);
    EXPECT_EQ(m_writer.WriteBMPHeader(1, 1), 9U);
    EXPECT_EQ(m_writer.WritePNGHeader(1, 1, true), 9U);
    EXPECT_EQ(m_writer.WriteDDSHeader(1, 1, 1, 1, 1, 1, 1), 9U);
    m_writer.FinalizePNG();
}

TEST_F(ScreenshotWriterTest, FailsToCreate)
{
    struct Row
    {
        const char* name;
        std::function<std::uint32_t(ScreenshotWriter&, const std::string&)> create;
        std::string path;
        std::vector<std::string> messages;
    };
    const auto bmp = [](ScreenshotWriter& w, const std::string& path) { return w.CreateBMPFile(path, 1, 1); };
    const auto dds = [](ScreenshotWriter& w, const std::string& path) {
        return w.CreateDDSFile(path, 1, 1, 1, 1, 1, 1, 1);
    };
    const auto png = [](std::uint32_t width, std::uint32_t height) {
        return [=](ScreenshotWriter& w, const std::string& path) {
            return w.CreatePNGFile(path, width, height, true);
        };
    };
    const std::string file = m_folder.File("image");
    const std::string nowhere = m_folder.File("missing/image");
    const std::vector<Row> rows{
        {"BMP in a missing folder", bmp, nowhere, {BMPFailed}},
        {"DDS in a missing folder", dds, nowhere, {DDSFailed}},
        {"PNG in a missing folder", png(1, 1), nowhere, {PNGFailed}},
        {"PNG that is a folder", png(1, 1), m_folder.Path(), {PNGFailed}},
        {"width 0", png(0, 1), file, {LibpngFailed, PNGFailed}},
        {"height 0", png(1, 0), file, {LibpngFailed, PNGFailed}},
        {"wider than libpng takes", png(1000001, 1), file, {LibpngFailed, PNGFailed}},
        {"higher than any PNG", png(1, 0xFFFFFFFF), file, {LibpngFailed, PNGFailed}},
        {"more than there is memory", png(1000000, 1000000), file, {PNGFailed}},
    };
    const std::size_t descriptors = OpenDescriptors();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        struct sigaction before = {};
        sigaction(SIGABRT, nullptr, &before);
        TestSupport::ClearLog();
        EXPECT_EQ(row.create(m_writer, row.path), 1U);
        EXPECT_EQ(TestSupport::LogTexts(), row.messages);
        EXPECT_EQ(m_writer.CloseFile(), 9U) << "a file stayed open";
        EXPECT_EQ(OpenDescriptors(), descriptors);
        struct sigaction after = {};
        sigaction(SIGABRT, nullptr, &after);
        EXPECT_EQ(after.sa_handler, before.sa_handler);
    }
    // And the writer is as good as new.
    ASSERT_EQ(m_writer.CreatePNGFile(file, 1, 1, true), 0U);
    const auto pixel = Counting(4);
    EXPECT_EQ(m_writer.WriteImageData(pixel.data(), 4), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    EXPECT_EQ(TestSupport::LoadImage(file).At(0, 0), (TestSupport::Pixel{3, 2, 1, 4}));
}

TEST_F(ScreenshotWriterTest, AFullDiskIsNotASuccess)
{
    const auto bytes = Counting(1 << 20);
    // Stays in the stream's buffer until the close.
    ASSERT_EQ(m_writer.CreateBMPFile(FullDisk, 1, 1), 0U);
    EXPECT_EQ(m_writer.WriteImageData(bytes.data(), 4), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 1U);
    // Does not.
    ASSERT_EQ(m_writer.CreateBMPFile(FullDisk, 512, 512), 0U);
    EXPECT_EQ(m_writer.WriteImageData(bytes.data(), bytes.size()), 1U);
    m_writer.CloseFile();
}

TEST_P(PNGTest, AFullDiskIsNotASuccess)
{
    // Noise is larger than any buffer: the encoder fails.
    const auto noise = Noise(1 << 20);
    ASSERT_EQ(m_writer.CreatePNGFile(FullDisk, 512, 512, true), 0U);
    EXPECT_EQ(m_writer.WriteImageData(noise.data(), noise.size()), 0U);
    m_writer.CloseFile();
    EXPECT_TRUE(ScreenshotWriter::s_pngFailed);
    EXPECT_THAT(TestSupport::LogTexts(), ElementsAre(LibpngFailed));

    // One that fits into the stream's buffer fails when that is flushed, and is the close's to tell.
    ASSERT_EQ(m_writer.CreatePNGFile(FullDisk, 1, 1, true), 0U);
    EXPECT_EQ(m_writer.WriteImageData(noise.data(), 4), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 1U);
}

TEST_F(ScreenshotWriterTest, ClosesTheFileThatIsStillOpen)
{
    const std::size_t descriptors = OpenDescriptors();
    const std::string first = m_folder.File("first.png");
    {
        ScreenshotWriter writer;
        ASSERT_EQ(writer.CreatePNGFile(first, 1, 1, true), 0U);
        ASSERT_EQ(writer.CreateBMPFile(m_folder.File("second.bmp"), 1, 1), 0U);
        EXPECT_EQ(TestSupport::LoadImage(first).width, 1);
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(ScreenshotWriterTest, AHeaderOfTheCallersOwnIsReleasedWithItsFile)
{
    const std::string path = m_folder.File("image.png");
    ASSERT_EQ(m_writer.OpenFile(path), 0U);
    ASSERT_EQ(m_writer.WritePNGHeader(1, 1, true), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    EXPECT_EQ(TestSupport::LoadImage(path).width, 1);
    m_writer.FinalizePNG(); // must not write to the file that is closed
    ASSERT_EQ(m_writer.CreatePNGFile(path, 1, 1, true), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
}

volatile std::sig_atomic_t s_crashReports = 0;

void ReportCrash(int /*signal*/, siginfo_t* /*info*/, void* /*context*/)
{
    s_crashReports = s_crashReports + 1;
}

void ReportOtherwise(int /*signal*/) {}

TEST_F(ScreenshotWriterTest, TheApplicationsCrashReporterSurvives)
{
    struct sigaction original = {};
    struct sigaction reporter = {};
    reporter.sa_sigaction = &ReportCrash;
    reporter.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&reporter.sa_mask);
    sigaddset(&reporter.sa_mask, SIGUSR1);
    sigaction(SIGABRT, &reporter, &original);

    ASSERT_EQ(m_writer.CreatePNGFile(m_folder.File("image.png"), 1, 1, true), 0U);
    std::raise(SIGABRT);
    EXPECT_TRUE(ScreenshotWriter::s_pngFailed);
    EXPECT_THAT(TestSupport::LogTexts(), IsEmpty()) << "a signal handler must not take the logger's lock";
    const auto pixel = Counting(4);
    EXPECT_EQ(m_writer.WriteImageData(pixel.data(), 4), 1U);
    EXPECT_THAT(TestSupport::LogTexts(), ElementsAre(LibpngFailed));
    EXPECT_EQ(m_writer.CloseFile(), 0U);

    struct sigaction after = {};
    sigaction(SIGABRT, nullptr, &after);
    EXPECT_EQ(after.sa_sigaction, &ReportCrash);
    EXPECT_EQ(after.sa_flags & (SA_SIGINFO | SA_NODEFER), SA_SIGINFO | SA_NODEFER);
    EXPECT_EQ(sigismember(&after.sa_mask, SIGUSR1), 1);
    std::raise(SIGABRT);
    EXPECT_EQ(s_crashReports, 1);

    // The default comes back as well, and what somebody installed meanwhile stays.
    sigaction(SIGABRT, &original, nullptr);
    ASSERT_EQ(m_writer.CreatePNGFile(m_folder.File("image.png"), 1, 1, true), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    sigaction(SIGABRT, nullptr, &after);
    EXPECT_EQ(after.sa_handler, original.sa_handler);

    ASSERT_EQ(m_writer.CreatePNGFile(m_folder.File("image.png"), 1, 1, true), 0U);
    std::signal(SIGABRT, &ReportOtherwise);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    EXPECT_EQ(std::signal(SIGABRT, SIG_DFL), &ReportOtherwise);
    sigaction(SIGABRT, &original, nullptr);
}

} // namespace
