#include "support/CaptureFixture.h"
#include "support/DriverFaults.h"
#include "support/GLContext.h"
#include "support/GLSnapshot.h"
#include "support/Scene.h"
#include "support/TestDispatch.h"

#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <GLES2/gl2ext.h>

#include <fstream>
#include <limits>

namespace {

using namespace TestSupport;
using Util::GLScreenshotHandler;
using Util::ScreenshotWriter;

constexpr int Width = SourceWidth;
constexpr int Height = SourceHeight;

using CaptureTest = CaptureFixture;

TEST_F(CaptureTest, WindowSurface)
{
    struct Row
    {
        const char* name;
        GLbitfield buffers;
        std::uint32_t status;
        FileNames files;
    };
    const std::vector<Row> rows{
        {"nothing", 0, 1, {}},
        {"other bits", ~AllBuffers, 1, {}},
        {"colour", GL_COLOR_BUFFER_BIT, 0, {"shot.png"}},
        {"stencil", GL_STENCIL_BUFFER_BIT, 0, {"shot_stencil.png"}},
        {"all", AllBuffers, 0, {"shot.png", "shot_depth.png", "shot_stencil.png"}},
    };
    const GLContext context({.width = Width, .height = Height});
    DrawQuadrants(Width, Height);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        RemoveFiles();
        const GLSnapshot before = GLSnapshot::Now();
        EXPECT_EQ(Take(row.buffers), row.status);
        EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
        EXPECT_EQ(Files(), row.files);
    }
    EXPECT_EQ(Compare("shot.png", Width, Height, QuadrantsAs(Kind::Color)), "");
    EXPECT_EQ(Compare("shot_depth.png", Width, Height, QuadrantsAs(Kind::Depth)), "");
    EXPECT_EQ(Compare("shot_stencil.png", Width, Height, QuadrantsAs(Kind::Stencil)), "");
    EXPECT_THAT(LogTexts(), testing::IsEmpty());
}

TEST_F(CaptureTest, TheWalkOverColourAttachments)
{
    struct Row
    {
        const char* name;
        std::vector<std::pair<GLuint, GLenum>> attachments; ///< point and format
        GLbitfield buffers;
        std::uint32_t status;
        FileNames files;
    };
    const std::vector<Row> rows{
        {"two",
         {{0, GL_RGBA8}, {1, GL_RGBA8}},
         GL_COLOR_BUFFER_BIT,
         1,
         {"shot_color0.png", "shot_color1.png"}},
        {"a gap", {{0, GL_RGBA8}, {2, GL_RGBA8}}, GL_COLOR_BUFFER_BIT, 1, {"shot_color0.png"}},
        {"nothing at 0", {{1, GL_RGBA8}}, GL_COLOR_BUFFER_BIT, 1, {}},
        {"integers", {{0, GL_RGBA8UI}, {1, GL_RGBA8}}, GL_COLOR_BUFFER_BIT, 1, {}},
        {"all eight",
         {{0, GL_R8}, {1, GL_R8}, {2, GL_R8}, {3, GL_R8}, {4, GL_R8}, {5, GL_R8}, {6, GL_R8}, {7, GL_R8}},
         GL_COLOR_BUFFER_BIT,
         0,
         {"shot_color0.png", "shot_color1.png", "shot_color2.png", "shot_color3.png", "shot_color4.png",
          "shot_color5.png", "shot_color6.png", "shot_color7.png"}},
        {"the last status counts", {{0, GL_RGBA8}}, AllBuffers, 1, {"shot_color0.png"}},
    };
    const GLContext context({.width = 8, .height = 8});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        RemoveFiles();
        NewFramebuffer();
        for (const auto& [point, format] : row.attachments) {
            Texture2D(format, 0).attach(GL_COLOR_ATTACHMENT0 + point);
        }
        const GLSnapshot before = GLSnapshot::Now();
        EXPECT_EQ(Take(row.buffers), row.status);
        EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
        EXPECT_EQ(Files(), row.files);
    }
}

TEST_F(CaptureTest, AttachmentsOfDifferentSizesAndDeletedNames)
{
    const GLContext context({.width = 8, .height = 8});
    NewFramebuffer();
    Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
    Renderbuffer(GL_DEPTH24_STENCIL8, 0, {16, 8}).attach(GL_DEPTH_STENCIL_ATTACHMENT);
    DrawQuadrants(16, 8);
    EXPECT_EQ(Take(AllBuffers), 0U);
    EXPECT_EQ(LoadImage(m_folder.File("shot_color0.png")).width, Width);
    EXPECT_EQ(CompareQuadrants(LoadImage(m_folder.File("shot_depth.png")), 16, 8, QuadrantsAs(Kind::Depth)),
              "");

    RemoveFiles();
    DeleteWhatIsBound();
    const GLSnapshot before = GLSnapshot::Now();
    EXPECT_EQ(Take(AllBuffers), 1U);
    EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
    EXPECT_EQ(Files(), FileNames{});
}

TEST_F(CaptureTest, ReadsWhatIsBoundForDrawing)
{
    const GLContext context({.width = Width, .height = Height});
    for (const bool isWindow : {true, false}) {
        SCOPED_TRACE(isWindow ? "window surface" : "framebuffer object");
        if (!isWindow) {
            NewFramebuffer();
            Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
            Texture2D(GL_DEPTH24_STENCIL8, 0).attach(GL_DEPTH_STENCIL_ATTACHMENT);
        }
        DrawQuadrants(Width, Height);
        GLuint other = 0;
        glGenFramebuffers(1, &other);
        glBindFramebuffer(GL_READ_FRAMEBUFFER, other);
        const GLSnapshot before = GLSnapshot::Now();
        EXPECT_EQ(Take(AllBuffers), 0U);
        const std::array files{isWindow ? "shot.png" : "shot_color0.png", "shot_depth.png",
                               "shot_stencil.png"};
        for (const Kind kind : AllKinds) {
            const auto expected = QuadrantsAs(kind);
            EXPECT_EQ(Compare(files.at(static_cast<std::size_t>(kind)), Width, Height, expected), "");
            EXPECT_EQ(Thumbnail(kind, Width / 2, Height / 2), 0U);
            EXPECT_EQ(Compare("shot.png", Width / 2, Height / 2, expected, kind == Kind::Color ? 1 : 0), "");
        }
        EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
    }
}

TEST_F(CaptureTest, AReadThatGLRefusesIsKeptFromTheApplication)
{
    const GLContext context({.width = 8, .height = 8, .debug = true});
    const Source views{
        "views", Width, Height, [](GLenum point) {
            const bool isColor = point == GL_COLOR_ATTACHMENT0;
            Layer(GL_TEXTURE_2D_ARRAY, isColor ? GL_RGBA8 : GL_DEPTH24_STENCIL8, 1).attach(point);
            AttachViews(point, 1);
        }};
    // Incomplete, a format that has no reading of four bytes, and several views at once.
    for (const auto& [color, depth] :
         {std::pair{Renderbuffer(GL_RGBA8), Renderbuffer(GL_DEPTH24_STENCIL8, 4)},
          {Texture2D(GL_RGBA16_SNORM_EXT, 0), Texture2D(GL_DEPTH24_STENCIL8, 0)},
          {views, views}}) {
        SCOPED_TRACE(color.name);
        if (color.name == views.name && !HasExtension("GL_OVR_multiview")) {
            continue;
        }
        NewFramebuffer();
        color.attach(GL_COLOR_ATTACHMENT0);
        depth.attach(GL_DEPTH_STENCIL_ATTACHMENT);
        if (glGetError() != GL_NO_ERROR || ReadsPixels()) {
            continue; // the driver lacks the format, or reads it
        }
        FailOnMessages();
        ClearLog();
        const GLSnapshot before = GLSnapshot::Now();
        EXPECT_EQ(Take(GL_COLOR_BUFFER_BIT), 1U);
        EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
        constexpr Pixel Nothing{};
        EXPECT_EQ(Compare("shot_color0.png", Width, Height, {Nothing, Nothing, Nothing, Nothing}), "");
        EXPECT_EQ(LogTexts().size(), 1U) << "a warning";
        glDisable(GL_DEBUG_OUTPUT);
    }
}

TEST_F(CaptureTest, AProgramDeletedWhileInUseStaysInUse)
{
    const GLContext context({.width = Width, .height = Height});
    DrawQuadrants(Width, Height);
    MakeStateHostile();
    glEndTransformFeedback();
    GLint program = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &program);
    glDeleteProgram(static_cast<GLuint>(program));
    const GLSnapshot before = GLSnapshot::Now();
    EXPECT_EQ(Take(GL_DEPTH_BUFFER_BIT), 0U);
    EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
    EXPECT_EQ(Compare("shot_depth.png", Width, Height, AllBlack), "");
    EXPECT_EQ(LogTexts().size(), 1U);
}

TEST_F(CaptureTest, WithoutAContextNothingIsCaptured)
{
    EXPECT_EQ(Take(AllBuffers), 1U);
    EXPECT_EQ(Files(), FileNames{});
}

TEST_F(CaptureTest, ArgumentsThatNameNothing)
{
    const GLContext context({.width = 8, .height = 8});
    const GLSnapshot before = GLSnapshot::Now();
    GLScreenshotHandler handler(ScreenshotWriter::FormatBMP);
    const std::string name = m_folder.File("shot");
    constexpr std::int32_t Huge = std::numeric_limits<std::int32_t>::max();
    for (const auto& [width, height] : {std::pair{Huge, Huge}, {0, 8}, {8, 0}, {-1, 8}, {8, -1}}) {
        EXPECT_EQ(handler.WriteColorBuffer(name, GL_BACK, width, height, GL_RGBA32F), 1U) << width;
        EXPECT_EQ(handler.WriteDepthStencilBuffer(name, width, height, 24, 8, false), 1U) << width;
    }
    EXPECT_EQ(handler.WriteDepthStencilBuffer(name, 8, 8, 20, 0, false), 1U);
    for (const int buffer : {GL_NONE, GL_COLOR_ATTACHMENT0}) { // not of a window
        EXPECT_EQ(handler.WriteColorBuffer(name, buffer, 8, 8, GL_RGBA8), 1U);
    }
    EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
    EXPECT_EQ(Files(), FileNames{});
}

/// Resident memory of the process in bytes.
long ResidentMemory()
{
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    return resident * 4096;
}

TEST_F(CaptureTest, ManyInARowLeaveMemoryAndObjectsLevel)
{
    const GLContext context({.width = 8, .height = 8});
    const auto takeMany = [this](int count, GLbitfield buffers) {
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(Take(buffers, ScreenshotWriter::FormatBMP), 0U);
        }
    };
    takeMany(100, AllBuffers);
    const GLSnapshot before = GLSnapshot::Now();
    const long memory = ResidentMemory();
    takeMany(1000, GL_COLOR_BUFFER_BIT);
    takeMany(100, GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    EXPECT_LT(ResidentMemory() - memory, 8 << 20);
    EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
}

} // namespace
