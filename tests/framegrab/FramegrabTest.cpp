#include "ChildProcess.h"
#include "Page.h"
#include "Terminal.h"
#include "VirtualDisplay.h"
#include "support/Image.h"
#include "support/Quadrants.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using namespace TestSupport;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using Words = std::vector<std::string>;

constexpr Pixel Red{255, 0, 0, 255};
constexpr Pixel Green{0, 255, 0, 255};
constexpr Pixel Blue{0, 0, 255, 255};

Words operator+(Words words, const Words& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// @return the whole command line; pictures go to `folder`
Words Framegrab(const TemporaryFolder& folder, const Words& options, const Words& program)
{
    return Words{FRAMEGRAB_PATH, "-output", folder.Path().string()} + options + Words{"--"} + program;
}

Words Steps(const Words& steps)
{
    return Words{LINKED_PATH} + steps;
}

/// The names of the files in a folder, sorted; without the log and the contact sheet.
Words FilesIn(const fs::path& folder)
{
    Words names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (name != "framegrab.log" && name != "index.html") {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// The lines that framegrab itself says; the program's own text may stand between them.
std::string Said(const Outcome& outcome)
{
    std::istringstream lines(outcome.errors);
    std::string said;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("framegrab: ")) {
            said += line + "\n";
        }
    }
    return said;
}

/// @return the one colour of a picture; (1, 2, 3, 4) when it has several or none
Pixel OnlyColor(const std::string& path)
{
    const Image image = LoadImage(path);
    const bool isUniform = !image.pixels.empty() &&
                           std::all_of(image.pixels.begin(), image.pixels.end(),
                                       [&](const Pixel& pixel) { return pixel == image.pixels.front(); });
    return isUniform ? image.pixels.front() : Pixel{1, 2, 3, 4};
}

std::size_t CountColors(const std::string& path)
{
    const Image image = LoadImage(path);
    return std::set<Pixel>(image.pixels.begin(), image.pixels.end()).size();
}

/// @return whether a process is running; one that has ended but was not waited for is not
bool IsRunning(pid_t process)
{
    const std::string stat = ReadFile("/proc/" + std::to_string(process) + "/stat");
    return !stat.empty() && stat.find(") Z ") == std::string::npos;
}

class OnDisplay : public testing::Test
{
protected:
    void SetUp() override { UseVirtualDisplay(); }

    TemporaryFolder m_folder;
};

class Framegrabbing : public testing::Test
{
protected:
    Outcome Run(const Words& options, const Words& program, const Words& environment = {},
                const std::string& input = "")
    {
        return RunProcess(Framegrab(m_folder, options, program), environment, input);
    }

    TemporaryFolder m_folder;
};

// -- Packaged applications ----------------------------------------------------------------------------------

TEST_F(OnDisplay, ThePictureIsWhatTheScreenShows)
{
    ChildProcess framegrab(Framegrab(m_folder, {}, {"es2tri"}));
    const std::string file = m_folder.File("frame000001.png");
    Image shown;
    Image captured;
    WaitFor([&] {
        captured = LoadImage(file);
        shown = PictureOfWindow("OpenGL ES 2.x tri");
        for (Pixel& pixel : captured.pixels) {
            pixel[3] = 0;
        }
        return shown.width > 0 && shown.pixels == captured.pixels;
    });
    EXPECT_EQ(captured.width, shown.width);
    EXPECT_EQ(captured.height, shown.height);
    EXPECT_TRUE(shown.pixels == captured.pixels);
    EXPECT_GT(CountColors(file), 1000U);

    // It has swapped once and waits for events; nothing ends it but a signal.
    kill(framegrab.Id(), SIGTERM);
    const Outcome outcome = framegrab.Wait();
    EXPECT_EQ(outcome.status, 128 + SIGTERM);
    EXPECT_THAT(outcome.errors, HasSubstr("framegrab: es2tri was killed by signal 15"));
    EXPECT_THAT(outcome.errors, HasSubstr("frame000001.png  300x300"));
}

TEST_F(OnDisplay, DepthAndStencilOfAProgramThatOpensEGLItself)
{
    const Outcome outcome = RunProcess(
        Framegrab(m_folder, {"-frames", "1,5", "-buffers", "color,depth,stencil", "-quit", "-timeout", "20"},
                  {"glmark2-es2", "-b", "build", "-s", "320x240", "--visual-config", "depth=24:stencil=8"}));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("glmark2 2"));
    EXPECT_THAT(FilesIn(m_folder.Path()),
                ElementsAre("frame000001.png", "frame000001_depth.png", "frame000001_stencil.png",
                            "frame000005.png", "frame000005_depth.png", "frame000005_stencil.png"));
    for (const char* name : {"frame000001.png", "frame000005.png", "frame000005_depth.png"}) {
        EXPECT_EQ(LoadImage(m_folder.File(name)).width, 320) << name;
        EXPECT_GT(CountColors(m_folder.File(name)), 50U) << name;
    }
    EXPECT_EQ(OnlyColor(m_folder.File("frame000005_stencil.png")), (Pixel{0, 0, 0, 255}));
}

TEST_F(OnDisplay, TheTimeoutOfFramesWithoutAnEndLeavesNoHalfPicture)
{
    // Encoded slowly, so that most of the time there is one on its way.
    const Outcome outcome =
        RunProcess(Framegrab(m_folder, {"-frames", "2-", "-quit", "-timeout", "2", "-png", "small"},
                             {"glmark2-es2", "-b", "build:duration=60", "-s", "800x600"}));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(Said(outcome), HasSubstr("framegrab: ending glmark2-es2 after 2 seconds\n"));
    const Words files = FilesIn(m_folder.Path());
    EXPECT_GT(files.size(), 1U);
    EXPECT_THAT(Said(outcome), HasSubstr("framegrab: " + std::to_string(files.size()) + " files, "));
    for (const std::string& name : files) {
        EXPECT_EQ(LoadImage(m_folder.File(name)).width, 800) << name;
    }
}

// -- Where a swap can come from -----------------------------------------------------------------------------

TEST_F(Framegrabbing, SeesEverySwapHoweverItsFunctionWasFound)
{
    const struct
    {
        const char* name;
        Words program;
    } cases[]{
        {"linked", {LINKED_PATH, "context"}},
        {"dlsym", {LINKED_PATH, "context", "find:dlsym"}},
        {"dlsym in all libraries", {LINKED_PATH, "context", "find:default"}},
        {"dlsym in the program", {LINKED_PATH, "context", "find:program"}},
        {"eglGetProcAddress", {LINKED_PATH, "context", "find:proc"}},
        {"eglGetProcAddress found by dlsym", {LINKED_PATH, "context", "find:proc-of-dlsym"}},
        {"with damage, KHR", {LINKED_PATH, "context", "find:damage-khr"}},
        {"with damage, EXT", {LINKED_PATH, "context", "find:damage-ext"}},
        {"linked by a plugin", {PLUGIN_PATH, "context"}},
        {"dlsym in a plugin", {PLUGIN_PATH, "context", "find:dlsym"}},
        {"eglGetProcAddress in a plugin", {PLUGIN_PATH, "context", "find:proc"}},
        {"after all files were closed", {LINKED_PATH, "close-files", "context", "swap:0", "close-files"}},
        {"from another folder", {LINKED_PATH, "chdir:/", "context"}},
    };
    for (const auto& item : cases) {
        const TemporaryFolder folder;
        const Outcome outcome =
            RunProcess(Framegrab(folder, {"-frames", "2"},
                                 item.program + Words{"clear:ff0000ff", "swap", "clear:0000ffff", "swap",
                                                      "clear:ff0000ff", "swap"}));
        EXPECT_EQ(outcome.status, 0) << item.name << ": " << outcome.errors;
        EXPECT_EQ(outcome.output, "") << item.name;
        EXPECT_THAT(FilesIn(folder.Path()), ElementsAre("frame000002.png")) << item.name;
        EXPECT_EQ(OnlyColor(folder.File("frame000002.png")), Blue) << item.name;
    }
}

TEST_F(Framegrabbing, LeavesOtherLookupsAlone)
{
    // What comes next depends on which library asks.
    const Outcome outcome =
        Run({}, Steps({"print-answer", "context", "swap"}), {std::string("LD_PRELOAD=libm.so.6")});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "42");
}

TEST_F(Framegrabbing, CapturesTheSurfaceAndLeavesTheBindings)
{
    const Outcome outcome = Run({"-buffers", "color,depth,stencil"},
                                Steps({"context", "clear:ff0000ff", "bind:1", "bind:2", "bind:1",
                                       "bind-read:2", "clear:00ff00ff", "swap", "print-bindings"}));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "draw 1 read 2 error 0\n");
    EXPECT_EQ(OnlyColor(m_folder.File("frame000001.png")), Red);
    EXPECT_EQ(OnlyColor(m_folder.File("frame000001_depth.png")), (Pixel{51, 51, 51, 255}));
    EXPECT_EQ(OnlyColor(m_folder.File("frame000001_stencil.png")), (Pixel{7, 7, 7, 255}));
}

TEST_F(Framegrabbing, KeepsAlphaOrMakesItOpaque)
{
    const Words program = Steps({"context", "clear:00ff0080", "swap"});
    EXPECT_EQ(Run({}, program).status, 0);
    EXPECT_EQ(OnlyColor(m_folder.File("frame000001.png")), (Pixel{0, 255, 0, 128}));
    EXPECT_EQ(Run({"-opaque"}, program).status, 0);
    EXPECT_EQ(OnlyColor(m_folder.File("frame000001.png")), Green);
}

TEST_F(Framegrabbing, ThreadsThatSwapAtTheSameTimeShareTheCount)
{
    const Outcome outcome = Run({"-frames", "1-12"}, Steps({"context", "threads:4"}));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    std::map<Pixel, int> colors;
    for (const std::string& name : FilesIn(m_folder.Path())) {
        ++colors[OnlyColor(m_folder.File(name))];
    }
    EXPECT_EQ(colors, (std::map<Pixel, int>{{Red, 4}, {Green, 4}, {Blue, 4}}));
}

TEST_F(Framegrabbing, ProcessesThatSwapWriteFilesOfTheirOwn)
{
    const std::string linked = LINKED_PATH;
    const struct
    {
        const char* name;
        Words program;
    } cases[]{
        {"a script's two programs",
         {"sh", "-c", linked + " context clear:ff0000ff swap; " + linked + " context clear:00ff00ff swap"}},
        {"a fork", Steps({"fork", "context", "clear:ff0000ff", "swap"})},
        {"a fork of a process that has swapped",
         Steps({"context", "clear:ff0000ff", "swap", "fork", "context", "swap"})},
    };
    for (const auto& item : cases) {
        const TemporaryFolder folder;
        const Outcome outcome = RunProcess(Framegrab(folder, {}, item.program));
        EXPECT_EQ(outcome.status, 0) << item.name << ": " << outcome.errors;
        EXPECT_THAT(FilesIn(folder.Path()), ElementsAre("frame000001-p2.png", "frame000001.png"))
            << item.name;
        EXPECT_EQ(OnlyColor(folder.File("frame000001.png")), Red) << item.name;
        EXPECT_THAT(Said(outcome), HasSubstr("2 files")) << item.name;
    }
}

// -- Render targets -----------------------------------------------------------------------------------------

TEST_F(Framegrabbing, CapturesATargetWhenTheProgramIsDoneWithIt)
{
    const struct
    {
        const char* name;
        Words steps;
        std::vector<Pixel> targets; ///< in their order
    } cases[]{
        {"binds another one", {"bind:1", "clear:ff0000ff", "bind:0", "clear:0000ffff"}, {Red}},
        {"shows the frame", {"bind:1", "clear:ff0000ff"}, {Red}},
        {"two in turn",
         {"bind:1", "clear:ff0000ff", "bind:2", "clear:00ff00ff", "bind:1", "clear:0000ffff"},
         {Red, Green, Blue}},
        {"not drawn into", {"bind:1", "bind:2", "bind:0", "clear:0000ffff", "bind:1"}, {}},
        {"not drawn into again", {"bind:1", "clear:ff0000ff", "bind:0", "bind:1", "bind:0"}, {Red}},
        {"binds the same one", {"bind:1", "clear:ff0000ff", "bind:1", "clear:00ff00ff"}, {Green}},
        {"makes another context current", {"bind:1", "clear:ff0000ff", "context"}, {Red}},
        {"invalidates", {"bind:1", "clear:ff0000ff", "invalidate", "bind:0"}, {Red}},
        {"invalidates before it draws", {"bind:1", "invalidate", "clear:ff0000ff"}, {Red}},
        {"attaches another texture",
         {"bind:1", "clear:ff0000ff", "attach:new", "clear:00ff00ff"},
         {Red, Green}},
        {"attaches the same texture", {"bind:1", "clear:ff0000ff", "attach:same", "clear:00ff00ff"}, {Green}},
        {"deletes it", {"bind:1", "clear:ff0000ff", "delete:framebuffer"}, {Red}},
        {"draws", {"bind:1", "triangle"}, {{255, 255, 255, 255}}},
        {"finds functions with dlsym", {"find-gl:dlsym", "bind:1", "clear:ff0000ff", "bind:0"}, {Red}},
        {"with eglGetProcAddress", {"find-gl:proc", "bind:1", "clear:ff0000ff", "bind:0"}, {Red}},
    };
    for (const auto& item : cases) {
        const TemporaryFolder folder;
        const Outcome outcome =
            RunProcess(Framegrab(folder, {"-targets"}, Steps({"context"}) + item.steps + Words{"swap"}));
        EXPECT_EQ(outcome.status, 0) << item.name << ": " << outcome.errors;
        Words files{"frame000001.png"};
        for (std::size_t i = 0; i < item.targets.size(); ++i) {
            files.push_back("frame000001_target0" + std::to_string(i + 1) + "_color0.png");
            EXPECT_EQ(OnlyColor(folder.File(files.back())), item.targets[i]) << item.name << ": " << i + 1;
        }
        EXPECT_EQ(FilesIn(folder.Path()), files) << item.name;
        EXPECT_THAT(Said(outcome), HasSubstr(files.back() + "  ")) << item.name;
    }
}

TEST_F(Framegrabbing, LeavesTheProgramsStateWhereItCapturesATarget)
{
    // A framebuffer for reading, an error that was not asked for, and one framebuffer after the other.
    const Words program =
        Steps({"context", "bind:1", "clear:ff0000ff", "bind:2", "bind-read:1", "clear:00ff00ff", "error",
               "invalidate", "print-bindings", "print-bindings", "swap", "print-bindings"});
    const Outcome plain = Run({}, program);
    const Outcome captured = Run({"-targets", "-buffers", "color,depth,stencil"}, program);
    EXPECT_EQ(captured.status, 0) << captured.errors;
    EXPECT_EQ(captured.output, "draw 2 read 1 error 1280\ndraw 2 read 1 error 0\ndraw 2 read 1 error 0\n");
    EXPECT_EQ(captured.output, plain.output);
    EXPECT_EQ(OnlyColor(m_folder.File("frame000001_target02_color0.png")), Green);
}

// -- Thumbnails and the contact sheet -----------------------------------------------------------------------

TEST_F(Framegrabbing, ThumbnailsShowWhatThePicturesShow)
{
    const Words buffers{"-buffers", "color,depth,stencil"};
    const Words steps = Steps({"context", "quadrants", "swap"});
    const struct
    {
        const char* name;
        Words options;
        int width; ///< of the thumbnails of a surface of 16 x 8
        int height;
        std::size_t files;
        const char* extension;
    } cases[]{
        {"beside the pictures", {"-thumbnail", "8x8"}, 8, 4, 6, ".png"},
        {"alone", {"-thumbnail", "100x4", "-thumbnail-only"}, 8, 4, 3, ".png"},
        {"larger than the pictures", {"-thumbnail", "64x64", "-format", "bmp"}, 64, 32, 6, ".bmp"},
    };
    for (const auto& item : cases) {
        const TemporaryFolder folder;
        const Outcome outcome = RunProcess(Framegrab(folder, item.options + buffers, steps));
        EXPECT_EQ(outcome.status, 0) << item.name << ": " << outcome.errors;
        EXPECT_EQ(FilesIn(folder.Path()).size(), item.files) << item.name;
        for (const auto& [buffer, expected] :
             {std::pair("", ColorOfQuadrants()), std::pair("_depth", DepthOfQuadrants()),
              std::pair("_stencil", StencilOfQuadrants())}) {
            const std::string file = folder.File(std::string("frame000001") + buffer);
            const Image image = LoadImage(file + "_thumbnail" + item.extension);
            // Where colours are blended, a pixel of either quadrant may be a mixture.
            const int border = item.width / 16 + 1;
            EXPECT_EQ(CompareQuadrants(image, item.width, item.height, expected, border), "")
                << item.name << buffer;
            EXPECT_EQ(fs::exists(file + item.extension), item.files == 6) << item.name << buffer;
        }
        EXPECT_EQ(ReadPage(folder.Path()).Problem(), "") << item.name;
    }
}

TEST_F(Framegrabbing, TheContactSheetShowsEveryFrame)
{
    const struct
    {
        const char* name;
        Words options;
        Words program;
        std::size_t rows;
        Words links; ///< of the first row
        Words images;
    } cases[]{
        {"without thumbnails",
         {"-frames", "2-4"},
         Steps({"context", "swap:4"}),
         3,
         {"frame000002.png"},
         {"frame000002.png"}},
        {"framebuffer objects",
         {"-targets", "-thumbnail", "8x8", "-buffers", "color,depth"},
         Steps({"context", "bind:1", "clear:ff0000ff", "bind:0", "swap"}),
         1,
         {"frame000001_target01_color0.png", "frame000001_target01_depth.png", "frame000001.png",
          "frame000001_depth.png"},
         {"frame000001_target01_color0_thumbnail.png", "frame000001_target01_depth_thumbnail.png",
          "frame000001_thumbnail.png", "frame000001_depth_thumbnail.png"}},
    };
    for (const auto& item : cases) {
        const TemporaryFolder folder;
        const Outcome outcome = RunProcess(Framegrab(folder, item.options, item.program));
        EXPECT_THAT(Said(outcome),
                    HasSubstr("framegrab: contact sheet: file://" + folder.File("index.html") + "\n"))
            << item.name;
        const Page page = ReadPage(folder.Path());
        EXPECT_EQ(page.Problem(), "") << item.name;
        ASSERT_EQ(page.rows.size(), item.rows) << item.name;
        EXPECT_EQ(page.rows.front().links, item.links) << item.name;
        EXPECT_EQ(page.rows.front().images, item.images) << item.name;
    }
}

// -- The program's end --------------------------------------------------------------------------------------

TEST_F(Framegrabbing, TheExitStatusIsTheProgramsUnlessThatIsZero)
{
    const struct
    {
        const char* name;
        Words options;
        Words program;
        int status;
        const char* said;
    } cases[]{
        {"a frame is missing",
         {"-frames", "1,3"},
         Steps({"context", "swap:2"}),
         1,
         "not captured whole: frames 3\n"},
        {"the program fails", {}, Steps({"context", "swap", "exit:3"}), 3, "1 file, "},
        {"the program fails, and a frame is missing",
         {},
         Steps({"exit:4"}),
         4,
         "ended before it showed a frame"},
        {"the program is killed",
         {},
         Steps({"context", "swap", "signal:11"}),
         139,
         "was killed by signal 11 (Segmentation fault)"},
        {"frames without an end, all that came",
         {"-frames", "2-"},
         Steps({"context", "swap:4"}),
         0,
         "3 files, "},
        {"it shows nothing", {}, {"true"}, 1, "true ended before it showed a frame through EGL\n"},
        {"it loads no library", {}, {STATIC_PATH}, 1, "framegrab_static did not load framegrab's hooks"},
        {"it does not exist",
         {},
         {"/no/such/program"},
         127,
         "/no/such/program cannot be started: No such file"},
        {"it is no program", {}, {"/etc/passwd"}, 126, "/etc/passwd cannot be started: Permission denied"},
        {"ended after the last frame", {"-quit"}, Steps({"context", "swap", "pause"}), 0, "1 file, "},
        {"the last frame never comes",
         {"-timeout", "0.5", "-frames", "1-2"},
         Steps({"context", "swap", "pause"}),
         1,
         "frame 2 has not come within 0.5 seconds; ending framegrab_linked\n"},
        {"a script ends before its program",
         {},
         {"sh", "-c", std::string("(sleep 0.2; exec ") + LINKED_PATH + " context swap) & exit 0"},
         0,
         "1 file, "},
    };
    for (const auto& item : cases) {
        const TemporaryFolder folder;
        const Outcome outcome = RunProcess(Framegrab(folder, item.options, item.program));
        EXPECT_EQ(outcome.status, item.status) << item.name << ": " << outcome.errors;
        EXPECT_THAT(Said(outcome), HasSubstr(item.said)) << item.name;
        EXPECT_LT(outcome.time, 15s) << item.name;
    }
}

TEST_F(Framegrabbing, QuitLosesNoOutputAndLeavesNoProcess)
{
    const Outcome outcome = Run({"-quit"}, {"sh", "-c",
                                            std::string("sleep 1000 & echo $!; (") + LINKED_PATH +
                                                " print:text context swap pause)"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, testing::EndsWith("\ntext"));
    EXPECT_FALSE(IsRunning(std::stoi(outcome.output)));
    EXPECT_LT(outcome.time, 15s);
}

// -- The command line ---------------------------------------------------------------------------------------

TEST_F(Framegrabbing, RefusesACommandLineItDoesNotUnderstand)
{
    std::ofstream(m_folder.File("file")) << "not a folder";
    const struct
    {
        Words arguments;
        const char* said;
    } cases[]{
        {{}, "no program was given"},
        {{"es2tri"}, "\"es2tri\" is not an option"},
        {{"-frobnicate", "--", "true"}, "unknown option \"-frobnicate\""},
        {{"-frames", "1,x", "--", "true"}, "-frames: \"x\" is neither"},
        {{"-buffers", "color,alpha", "--", "true"}, "-buffers: \"alpha\" is none of"},
        {{"-quit", "-frames", "5,60-/10", "--", "true"}, "-quit: there is no last frame in 5,60-/10"},
        {{"-png", "best", "--", "true"}, "-png: \"best\" is neither fast nor small"},
        {{"-thumbnail", "16385x1", "--", "true"}, "-thumbnail: \"16385x1\" is not a size"},
        {{"-thumbnail-only", "--", "true"}, "-thumbnail-only: it needs the size"},
        {{"-format", "gif", "--", "true"}, "-format: \"gif\" is neither png nor bmp"},
        {{"-timeout", "soon", "--", "true"}, "-timeout: \"soon\" is not a number of seconds"},
        {{"-output", "", "--", "true"}, "-output: it needs the path of a folder"},
        {{"-output", R"(a "b" c)", "--", "true"}, R"(the argument 'a "b" c' cannot be passed on)"},
        {{"-output", m_folder.File("file/below"), "--", "true"}, "cannot be made: Not a directory"},
        {{"-output", "/proc", "--", "true"}, "the output folder \"/proc\" cannot be written"},
    };
    for (const auto& item : cases) {
        const Outcome outcome = RunProcess(Words{FRAMEGRAB_PATH} + item.arguments);
        EXPECT_EQ(outcome.status, 2) << item.said << outcome.errors;
        EXPECT_THAT(Said(outcome), HasSubstr(item.said));
        EXPECT_EQ(Said(outcome), outcome.errors);
    }
}

// -- The log ------------------------------------------------------------------------------------------------

TEST_F(Framegrabbing, LogsWhatTheUserWantsWhereTheUserWantsIt)
{
    const struct
    {
        Words options;
        Words logged;    ///< lines of the log file, or parts of them, in order
        Words said;      ///< the same of standard error
        Words notLogged; ///< neither here nor there
    } cases[]{
        {{}, {"not captured whole"}, {"not captured whole"}, {"notice"}},
        {{"-loglevel", "3"},
         {"notice [application]", "notice [dll]", "notice [capture]", "Screenshot failed: ", "status 1"},
         {"notice [application]", "notice [dll]", "notice [capture]", "Screenshot failed: "},
         {}},
        {{"-loglevel", "3", "-logzones", "Capture|DLL"},
         {"notice [dll]", "notice [capture]"},
         {"notice [dll]", "notice [capture]"},
         {"[application]", "Screenshot failed"}},
        {{"-logiopipe", "console"}, {}, {"Screenshot failed: ", "status 1"}, {}},
        {{"-logiopipe", "file"}, {"Screenshot failed: ", "status 1"}, {"status 1"}, {}},
    };
    // The picture of the second frame cannot be written.
    fs::create_directory(m_folder.File("frame000002.png"));
    for (const auto& item : cases) {
        const Outcome outcome = Run(item.options + Words{"-frames", "1-3"}, Steps({"context", "swap:3"}));
        const std::string log = ReadFile(m_folder.File("framegrab.log"));
        const std::string name = testing::PrintToString(item.options);
        EXPECT_EQ(outcome.status, 1) << name;
        EXPECT_EQ(Said(outcome), outcome.errors) << name;
        for (const auto& [text, parts] :
             {std::pair(log, item.logged), std::pair(outcome.errors, item.said)}) {
            std::size_t position = 0;
            for (const std::string& part : parts) {
                position = text.find(part, position);
                EXPECT_NE(position, std::string::npos) << name << ": " << part << " in " << text;
            }
        }
        for (const std::string& part : item.notLogged) {
            EXPECT_THAT(log + outcome.errors, Not(HasSubstr(part))) << name;
        }
        fs::remove(m_folder.File("framegrab.log"));
    }
}

// -- On a terminal ------------------------------------------------------------------------------------------

TEST_F(Framegrabbing, ShowsOnATerminalHowFarItIsAndTakesThatBack)
{
    const struct
    {
        const char* frames;
        const char* done;
    } cases[]{{"1,3", "1 of 2 frames, "}, {"1-/2", "1 frame, "}};
    for (const auto& item : cases) {
        Terminal terminal(
            Framegrab(m_folder, {"-frames", item.frames}, Steps({"context", "swap", "read", "swap:2"})));
        ASSERT_TRUE(WaitFor([&] { return terminal.Screen().find(item.done) != std::string::npos; }))
            << terminal.Screen();
        const std::size_t size = fs::file_size(m_folder.File("frame000001.png"));
        const std::string progress =
            std::string("framegrab: ") + item.done + "1 file, " + std::to_string(size) + " bytes";
        const std::string takenBack = progress + std::string(progress.size(), '\b');
        EXPECT_TRUE(WaitFor([&] { return terminal.Written().find(takenBack) != std::string::npos; }))
            << terminal.Written();

        terminal.Type("\n");
        EXPECT_EQ(terminal.Wait(), 0);
        EXPECT_THAT(terminal.Screen(), Not(HasSubstr(item.done)));
        EXPECT_THAT(terminal.Screen(), HasSubstr("framegrab: 2 files, "));
    }
}

} // namespace
