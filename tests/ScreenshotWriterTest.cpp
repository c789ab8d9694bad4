#include "Util/ScreenshotWriter.h"

#include "support/FailingAllocation.h"
#include "support/FileSizeLimit.h"
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
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Util::ScreenshotWriter;

constexpr auto BMPFailed = "ScreenshotWriter::CreateBMPFile failed";
constexpr auto PNGFailed = "ScreenshotWriter::CreatePNGFile failed";
constexpr auto DDSFailed = "ScreenshotWriter::CreateDDSFile failed";
constexpr auto LibpngFailed = "An internal libpng failure occured.";

constexpr auto FullDisk = "/dev/full";

std::vector<std::uint32_t> Words(const std::string& bytes, std::size_t from)
{
    std::vector<std::uint32_t> words((bytes.size() - from) / 4);
    std::memcpy(words.data(), bytes.data() + from, words.size() * 4);
    return words;
}

using Bytes = std::vector<std::uint8_t>;

Bytes Counting(std::size_t size)
{
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

Bytes Noise(std::size_t size)
{
    Bytes noise(size);
    std::uint32_t seed = 1;
    std::generate(noise.begin(), noise.end(), [&seed] { return (seed = seed * 1664525 + 1013904223) >> 24; });
    return noise;
}

/// @return the first status that is not 0
std::uint32_t WritePNG(ScreenshotWriter& writer, const std::string& path, std::uint32_t width,
                       std::uint32_t height, bool rgba, const Bytes& pixels)
{
    if (const auto status = writer.CreatePNGFile(path, width, height, rgba)) {
        return status;
    }
    const auto status = writer.WriteImageData(pixels.data(), pixels.size());
    const auto closed = writer.CloseFile();
    return status != 0 ? status : closed;
}

std::size_t OpenDescriptors()
{
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(open), end(open)));
}

struct sigaction AbortAction()
{
    struct sigaction action = {};
    sigaction(SIGABRT, nullptr, &action);
    return action;
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
    EXPECT_EQ(Words(bytes.substr(0, 54), 2),
              (std::vector<std::uint32_t>{78, 0, 54, 40, 2, 3, 1 | 32 << 16, 0, 0, 72, 72, 0, 0}));
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
    EXPECT_EQ(Words(TestSupport::ReadFile(path), 0), expected);
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

TEST_P(PNGTest, EverySizeOfBothColourTypes)
{
    // Small ones; rows of megabytes, and a million rows; a grey row that fills the compressor's input to its
    // end.
    std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes{
        {1000000, 3}, {1, 1000000}, {777, 555}, {131071, 3}};
    for (std::uint32_t i = 0; i < 17 * 17; ++i) {
        sizes.emplace_back(1 + i / 17, 1 + i % 17);
    }
    const std::string path = m_folder.File("image.png");
    for (const auto& [width, height] : sizes) {
        for (const std::size_t channels : {4U, 1U}) {
            SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
            const auto pixels = Noise(channels * width * height);
            ASSERT_EQ(WritePNG(m_writer, path, width, height, channels == 4, pixels), 0U);
            EXPECT_FALSE(ScreenshotWriter::s_pngFailed);
            // Noise compresses least: the file may exceed the pixels by a hundredth at most.
            const std::size_t raw = pixels.size() + height; // a byte for each row's filter
            EXPECT_LE(std::filesystem::file_size(path), raw * 101 / 100 + 100);

            const auto image = TestSupport::LoadImage(path);
            ASSERT_EQ(image.pixels.size(), std::size_t{width} * height);
            std::size_t wrong = 0;
            for (std::size_t i = 0; i < image.pixels.size(); ++i) {
                const auto* p = &pixels[i * channels];
                wrong += image.pixels[i] != (channels == 4 ? TestSupport::Pixel{p[2], p[1], p[0], p[3]}
                                                           : TestSupport::Pixel{p[0], p[0], p[0], 255});
            }
            EXPECT_EQ(wrong, 0U);
        }
    }
}

TEST_P(PNGTest, AFailedAllocationIsAFailedFile)
{
    const std::string path = m_folder.File("image.png");
    std::size_t failures = 0;
    for (bool hasFailed = true; hasFailed && failures < 10; failures += hasFailed) {
        ScreenshotWriter writer; // has kept no memory
        std::uint32_t status = 0;
        {
            const TestSupport::FailingAllocation failing(failures);
            status = WritePNG(writer, path, 4, 4, true, Noise(64));
            hasFailed = failing.HasFailed();
        }
        EXPECT_EQ(status != 0 || writer.HasPNGFailed(), hasFailed) << failures;
        EXPECT_EQ(writer.CloseFile(), 9U);
    }
    EXPECT_GE(failures, 2U);
    EXPECT_EQ(TestSupport::LoadImage(path).width, 4);
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
    // The memory of an earlier image, which is kept, must neither show nor change how the next is compressed.
    const std::string path = m_folder.File("image.png");
    EXPECT_EQ(WritePNG(m_writer, path, 100, 100, true, Noise(40000)), 0U);
    EXPECT_EQ(WritePNG(m_writer, path, 100, 100, true, Noise(400)), 0U);
    const std::string file = TestSupport::ReadFile(path);
    const auto image = TestSupport::LoadImage(path);
    ASSERT_EQ(image.height, 100);
    EXPECT_EQ(image.At(1, 0), (TestSupport::Pixel{Noise(7)[6], Noise(6)[5], Noise(5)[4], Noise(8)[7]}));
    EXPECT_EQ(std::count(image.pixels.begin() + 100, image.pixels.end(), TestSupport::Pixel{}), 9900);

    m_writer.ReleaseMemory();
    ASSERT_EQ(m_writer.CreatePNGFile(path, 100, 100, true), 0U);
    m_writer.ReleaseMemory(); // of files that are done
    EXPECT_EQ(m_writer.WriteImageData(Noise(400).data(), 400), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    EXPECT_TRUE(TestSupport::ReadFile(path) == file);
}

TEST_P(PNGTest, SeveralFilesAreOpenAtOnce)
{
    const auto pixel = Counting(4);
    const auto before = AbortAction().sa_handler;
    for (const bool firstClosesFirst : {true, false}) {
        ScreenshotWriter second;
        ASSERT_EQ(m_writer.CreatePNGFile(m_folder.File("1.png"), 1, 1, true), 0U);
        ASSERT_EQ(second.CreatePNGFile(m_folder.File("2.png"), 1, 1, true), 0U);
        {
            ScreenshotWriter failing;
            EXPECT_EQ(failing.CreatePNGFile(FullDisk, 1, 1, true), 1U);
            EXPECT_TRUE(failing.HasPNGFailed());
        }
        EXPECT_TRUE(ScreenshotWriter::s_pngFailed);
        ScreenshotWriter& closedFirst = firstClosesFirst ? m_writer : second;
        ScreenshotWriter& closedLast = firstClosesFirst ? second : m_writer;
        for (ScreenshotWriter* const writer : {&closedFirst, &closedLast}) {
            EXPECT_EQ(AbortAction().sa_handler, &ScreenshotWriter::LibPngSignalHandler);
            EXPECT_EQ(writer->WriteImageData(pixel.data(), 4), 0U) << "the failure is another's";
            EXPECT_EQ(writer->CloseFile(), 0U);
            EXPECT_FALSE(writer->HasPNGFailed());
        }
        EXPECT_EQ(AbortAction().sa_handler, before);
    }
    ASSERT_EQ(m_writer.CreatePNGFile(m_folder.File("1.png"), 1, 1, true), 0U);
    EXPECT_FALSE(ScreenshotWriter::s_pngFailed);
    ScreenshotWriter::s_pngFailed = true;
    EXPECT_EQ(m_writer.WriteImageData(pixel.data(), 4), 1U) << "nobody else's";
}

TEST_P(PNGTest, ThreadsWriteSideBySide)
{
    const auto before = AbortAction().sa_handler;
    const auto pixels = Noise(4 * 32 * 32);
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, path = m_folder.File(std::to_string(thread) + ".png")] {
            for (int i = 0; i < 50; ++i) {
                ScreenshotWriter writer;
                failures += WritePNG(writer, path, 32, 32, true, pixels) != 0 || writer.HasPNGFailed();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(AbortAction().sa_handler, before);
    EXPECT_EQ(TestSupport::LoadImage(m_folder.File("3.png")).width, 32);
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
    const std::string other = m_folder.File("other");
    const std::string missing = nowhere + " cannot be created: No such file or directory";
    const std::string isFolder = m_folder.Path().string() + " cannot be created: Is a directory";
    const std::string isFull = FullDisk + std::string(" cannot be written: No space left on device");
    const std::string isTooLarge = file + " cannot be created: Cannot allocate memory";
    const std::vector<Row> rows{
        {"BMP in a missing folder", bmp, nowhere, {missing, BMPFailed}},
        {"DDS in a missing folder", dds, nowhere, {missing, DDSFailed}},
        {"PNG in a missing folder", png(1, 1), nowhere, {missing, PNGFailed}},
        {"PNG that is a folder", png(1, 1), m_folder.Path(), {isFolder, PNGFailed}},
        {"NUL in a name", bmp, other + '\0', {other + " cannot be created: Invalid argument", BMPFailed}},
        {"BMP on a full disk", bmp, FullDisk, {isFull, BMPFailed}},
        {"PNG on a full disk", png(1, 1), FullDisk, {isFull, LibpngFailed, PNGFailed}},
        {"width 0", png(0, 1), file, {LibpngFailed, PNGFailed}},
        {"height 0", png(1, 0), file, {LibpngFailed, PNGFailed}},
        {"wider than libpng takes", png(1000001, 1), file, {LibpngFailed, PNGFailed}},
        {"higher than any PNG", png(1, 0xFFFFFFFF), file, {LibpngFailed, PNGFailed}},
        {"more than there is memory", png(1000000, 1000000), file, {isTooLarge, PNGFailed}},
    };
    const std::size_t descriptors = OpenDescriptors();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const auto before = AbortAction().sa_handler;
        TestSupport::ClearLog();
        EXPECT_EQ(row.create(m_writer, row.path), 1U);
        EXPECT_EQ(TestSupport::LogTexts(), row.messages);
        for (const auto& entry : TestSupport::LogEntries()) {
            EXPECT_EQ(entry.level, entry.text.starts_with("Screensh") ? 4 : 1) << entry.text;
        }
        EXPECT_EQ(m_writer.CloseFile(), 9U) << "a file stayed open";
        EXPECT_EQ(OpenDescriptors(), descriptors);
        EXPECT_EQ(AbortAction().sa_handler, before);
    }
    EXPECT_FALSE(std::filesystem::exists(other));
    // And the writer is as good as new.
    ASSERT_EQ(WritePNG(m_writer, file, 1, 1, true, Counting(4)), 0U);
    EXPECT_EQ(TestSupport::LoadImage(file).At(0, 0), (TestSupport::Pixel{3, 2, 1, 4}));
}

TEST_F(ScreenshotWriterTest, TheCallThatMeetsAFullDiskTells)
{
    const TestSupport::FileSizeLimit limit(100);
    const std::string path = m_folder.File("image.bmp");
    const auto bytes = Counting(1 << 20);
    ASSERT_EQ(m_writer.CreateBMPFile(path, 512, 512), 0U);
    EXPECT_EQ(m_writer.WriteImageData(bytes.data(), 46), 0U);
    EXPECT_EQ(m_writer.WriteImageData(bytes.data(), 1), 1U);
    EXPECT_EQ(m_writer.WriteImageData(bytes.data(), bytes.size()), 1U);
    EXPECT_EQ(m_writer.CloseFile(), 1U);
    EXPECT_THAT(TestSupport::LogTexts(), ElementsAre(path + " cannot be written: File too large"));
}

TEST_P(PNGTest, AFullDiskIsNotASuccess)
{
    const TestSupport::FileSizeLimit limit(40); // signature and IHDR are 33
    const std::string path = m_folder.File("image.png");
    for (const std::uint32_t side : {512U, 1U}) {
        TestSupport::ClearLog();
        EXPECT_EQ(WritePNG(m_writer, path, side, side, true, Noise(std::size_t{4} * side * side)), 1U);
        EXPECT_TRUE(m_writer.HasPNGFailed());
        EXPECT_THAT(TestSupport::LogTexts(),
                    ElementsAre(path + " cannot be written: File too large", LibpngFailed));
    }
}

TEST_F(ScreenshotWriterTest, AForkedChildWritesNothing)
{
    const auto pixels = Counting(32);
    for (const auto* const name : {"image.bmp", "image.png"}) {
        const std::string path = m_folder.File(name);
        auto writer = std::make_unique<ScreenshotWriter>();
        ASSERT_EQ(path.ends_with("png") ? writer->CreatePNGFile(path, 4, 2, true)
                                        : writer->CreateBMPFile(path, 4, 2),
                  0U);
        EXPECT_EQ(writer->WriteImageData(pixels.data(), 16), 0U);
        const pid_t child = fork();
        if (child == 0) {
            writer.reset(); // as exit does with one that is static
            std::fflush(nullptr);
            _exit(0);
        }
        waitpid(child, nullptr, 0);
        EXPECT_EQ(writer->WriteImageData(pixels.data() + 16, 16), 0U);
        EXPECT_EQ(writer->CloseFile(), 0U);
        const auto image = TestSupport::LoadImage(path);
        ASSERT_EQ(image.height, 2) << name;
        EXPECT_EQ(image.At(3, 1)[3], path.ends_with("png") ? 32 : 16);
    }
}

TEST_F(ScreenshotWriterTest, TakesNoStandardDescriptor)
{
    const int standardInput = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    EXPECT_EQ(m_writer.CreateBMPFile(m_folder.File("image.bmp"), 1, 1), 0U);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    dup2(standardInput, STDIN_FILENO);
    close(standardInput);
}

TEST_F(ScreenshotWriterTest, ClosesTheFileThatIsStillOpen)
{
    const std::size_t descriptors = OpenDescriptors();
    const std::string first = m_folder.File("first.png");
    {
        ScreenshotWriter writer;
        ASSERT_EQ(writer.OpenFile(first), 0U);
        ASSERT_EQ(writer.WritePNGHeader(1, 1, true), 0U);
        EXPECT_EQ(writer.WritePNGHeader(2, 2, true), 1U) << "a second one";
        ASSERT_EQ(writer.CreateBMPFile(m_folder.File("second.bmp"), 1, 1), 0U);
        EXPECT_EQ(TestSupport::LoadImage(first).width, 1);
        writer.FinalizePNG(); // must not write to the file that is closed
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

volatile std::sig_atomic_t s_crashReports = 0;

void ReportCrash(int /*signal*/, siginfo_t* /*info*/, void* /*context*/)
{
    s_crashReports = s_crashReports + 1;
}

void (*s_replaced)(int) = nullptr;

void ReportAndChain(int signal)
{
    s_crashReports = s_crashReports + 1;
    s_replaced(signal);
}

TEST_F(ScreenshotWriterTest, AnAbortIsTheApplications)
{
    const std::string path = m_folder.File("image.png");
    const auto pixel = Counting(4);
    struct sigaction original = {};
    struct sigaction reporter = {};
    reporter.sa_sigaction = &ReportCrash;
    reporter.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&reporter.sa_mask);
    sigaddset(&reporter.sa_mask, SIGUSR1);
    sigaction(SIGABRT, &reporter, &original);

    // Its crash reporter sees it, and stays what it was.
    ASSERT_EQ(m_writer.CreatePNGFile(path, 1, 1, true), 0U);
    std::raise(SIGABRT);
    EXPECT_EQ(s_crashReports, 1);
    EXPECT_TRUE(ScreenshotWriter::s_pngFailed);
    EXPECT_THAT(TestSupport::LogTexts(), IsEmpty()) << "a signal handler must not take the logger's lock";
    EXPECT_EQ(m_writer.WriteImageData(pixel.data(), 4), 1U);
    EXPECT_THAT(TestSupport::LogTexts(), ElementsAre(LibpngFailed));
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    for (int i = 0; i < 2; ++i) {
        const struct sigaction after = AbortAction();
        EXPECT_EQ(after.sa_sigaction, &ReportCrash);
        EXPECT_EQ(after.sa_flags & (SA_SIGINFO | SA_NODEFER), SA_SIGINFO | SA_NODEFER);
        EXPECT_EQ(sigismember(&after.sa_mask, SIGUSR1), 1);
        EXPECT_EQ(m_writer.CreatePNGFile(path, 1, 1, true), 0U);
        EXPECT_EQ(m_writer.CloseFile(), 0U);
    }

    // What is installed meanwhile stays. It gets a signal once, though it calls what it has replaced.
    ASSERT_EQ(m_writer.CreatePNGFile(path, 1, 1, true), 0U);
    s_replaced = std::signal(SIGABRT, &ReportAndChain);
    TestSupport::ClearLog();
    for (const int reports : {2, 3}) {
        std::raise(SIGABRT);
        EXPECT_EQ(s_crashReports, reports);
        EXPECT_EQ(m_writer.CloseFile(), 0U);
        EXPECT_EQ(AbortAction().sa_handler, &ReportAndChain);
        EXPECT_THAT(TestSupport::LogTexts(), ElementsAre(LibpngFailed));
        TestSupport::ClearLog();
        EXPECT_EQ(m_writer.CreatePNGFile(path, 1, 1, true), 0U);
    }
    EXPECT_EQ(m_writer.CloseFile(), 0U);

    // One that comes while no file is open says nothing of the next.
    s_replaced = &ScreenshotWriter::LibPngSignalHandler;
    std::raise(SIGABRT);
    EXPECT_EQ(m_writer.CreatePNGFile(path, 1, 1, true), 0U);
    EXPECT_EQ(m_writer.WriteImageData(pixel.data(), 4), 0U);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    EXPECT_THAT(TestSupport::LogTexts(), IsEmpty());

    // The default comes back as well; with it the handler keeps a raised signal from ending the process.
    sigaction(SIGABRT, &original, nullptr);
    ASSERT_EQ(m_writer.CreatePNGFile(path, 1, 1, true), 0U);
    std::raise(SIGABRT);
    EXPECT_EQ(m_writer.CloseFile(), 0U);
    EXPECT_EQ(AbortAction().sa_handler, original.sa_handler);
}

} // namespace
