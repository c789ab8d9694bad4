#include "support/CaptureFixture.h"
#include "support/GLContext.h"
#include "support/GLState.h"
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
        const GLState before = GLState::Now();
        EXPECT_EQ(Take(row.buffers), row.status);
        EXPECT_EQ(GLState::Now().ChangesSince(before), "");
        EXPECT_EQ(Files(), row.files);
    }
    EXPECT_EQ(Compare("shot.png", Width, Height, ColorOfQuadrants()), "");
    EXPECT_EQ(Compare("shot_depth.png", Width, Height, DepthOfQuadrants()), "");
    EXPECT_EQ(Compare("shot_stencil.png", Width, Height, StencilOfQuadrants()), "");
    EXPECT_THAT(LogTexts(), testing::IsEmpty());
}

TEST_F(CaptureTest, WindowSurfacesOfOtherConfigurations)
{
    struct Row
    {
        const char* name;
        int depth;
        int stencil;
        int samples;
        FileNames files;
    };
    const std::vector<Row> rows{
        {"24 bits of depth, no stencil", 24, 0, 0, {"shot.png", "shot_depth.png", "shot_stencil.png"}},
        {"16 bits of depth", 16, 0, 0, {"shot.png", "shot_depth.png", "shot_stencil.png"}},
        {"32 bits of depth, fixed-point", 32, 0, 0, {"shot.png", "shot_depth.png", "shot_stencil.png"}},
        {"colour alone", 0, 0, 0, {"shot.png"}},
        {"multisampled", 24, 8, 4, {"shot.png", "shot_depth.png", "shot_stencil.png"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        RemoveFiles();
        const GLContext context({.width = Width,
                                 .height = Height,
                                 .depthBits = row.depth,
                                 .stencilBits = row.stencil,
                                 .samples = row.samples});
        DrawQuadrants(Width, Height);
        const GLState before = GLState::Now();
        Take(AllBuffers);
        EXPECT_EQ(GLState::Now().ChangesSince(before), "");
        EXPECT_EQ(Files(), row.files);
        EXPECT_EQ(Compare("shot.png", Width, Height, ColorOfQuadrants()), "");
        if (row.files.contains("shot_depth.png")) {
            EXPECT_EQ(Compare("shot_depth.png", Width, Height, DepthOfQuadrants()), "");
        }
        if (row.files.contains("shot_stencil.png")) {
            // Depth bits alone still choose a format for the copy, which then has no stencil to show.
            EXPECT_EQ(Compare("shot_stencil.png", Width, Height,
                              row.stencil != 0 ? StencilOfQuadrants() : AllBlack),
                      "");
        }
    }
    EXPECT_EQ(LogTexts().size(), 3U) << "a warning for each black picture";
}

TEST_F(CaptureTest, AWindowSurfaceOfFloats)
{
    const GLContext context({.width = Width,
                             .height = Height,
                             .redBits = 16,
                             .greenBits = 16,
                             .blueBits = 16,
                             .alphaBits = 16,
                             .isFloat = true});
    DrawQuadrants(Width, Height);
    const GLState before = GLState::Now();
    EXPECT_EQ(Take(GL_COLOR_BUFFER_BIT), 0U);
    EXPECT_EQ(GLState::Now().ChangesSince(before), "");
    EXPECT_EQ(Compare("shot.png", Width, Height, ColorOfQuadrants()), "");
}

TEST_F(CaptureTest, ColourAttachments)
{
    struct Row
    {
        const char* name;
        GLenum format;
        std::array<bool, 4> components;
    };
    const std::vector<Row> rows{
        {"RGBA8", GL_RGBA8, {true, true, true, true}},
        {"RGB8", GL_RGB8, {true, true, true, false}},
        {"RGB565", GL_RGB565, {true, true, true, false}},
        {"RGBA4", GL_RGBA4, {true, true, true, true}},
        {"RGB10_A2", GL_RGB10_A2, {true, true, true, true}},
        {"SRGB8_ALPHA8", GL_SRGB8_ALPHA8, {true, true, true, true}},
        {"R8", GL_R8, {true, false, false, false}},
        {"RG16F", GL_RG16F, {true, true, false, false}},
        {"RGBA16F", GL_RGBA16F, {true, true, true, true}},
        {"RGBA32F", GL_RGBA32F, {true, true, true, true}},
        {"R11F_G11F_B10F", GL_R11F_G11F_B10F, {true, true, true, false}},
    };
    const GLContext context({.width = 8, .height = 8});
    for (const Row& row : rows) {
        for (const Source& source :
             {Texture2D(row.format, 1), CubeFace(row.format), Layer(GL_TEXTURE_3D, row.format, 0),
              Layer(GL_TEXTURE_3D, row.format, 2), Layer(GL_TEXTURE_2D_ARRAY, row.format, 0),
              Layer(GL_TEXTURE_2D_ARRAY, row.format, 3), Renderbuffer(row.format)}) {
            SCOPED_TRACE(std::string(row.name) + ", " + source.name);
            RemoveFiles();
            NewFramebuffer();
            source.attach(GL_COLOR_ATTACHMENT0);
            if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
                continue; // not every float format is renderable in every target
            }
            DrawQuadrants(source.width, source.height);

            std::array<Pixel, 4> expected = ColorOfQuadrants();
            for (Pixel& pixel : expected) {
                for (std::size_t i = 0; i < 4; ++i) {
                    pixel.at(i) = row.components.at(i) ? pixel.at(i) : i == 3 ? 255 : 0;
                }
            }
            const GLState before = GLState::Now();
            EXPECT_EQ(Take(GL_COLOR_BUFFER_BIT), 1U) << "the walk ends at the first empty point";
            EXPECT_EQ(GLState::Now().ChangesSince(before), "");
            EXPECT_EQ(Files(), FileNames{"shot_color0.png"});
            EXPECT_EQ(Compare("shot_color0.png", source.width, source.height, expected), "");
        }
    }
}

TEST_F(CaptureTest, DepthAndStencilAttachments)
{
    struct Row
    {
        const char* name;
        GLenum format;
        bool depth;
        bool stencil;
    };
    const std::vector<Row> rows{
        {"DEPTH_COMPONENT16", GL_DEPTH_COMPONENT16, true, false},
        {"DEPTH_COMPONENT24", GL_DEPTH_COMPONENT24, true, false},
        {"DEPTH_COMPONENT32F", GL_DEPTH_COMPONENT32F, true, false},
        {"DEPTH_COMPONENT32_OES", GL_DEPTH_COMPONENT32_OES, true, false},
        {"DEPTH24_STENCIL8", GL_DEPTH24_STENCIL8, true, true},
        {"DEPTH32F_STENCIL8", GL_DEPTH32F_STENCIL8, true, true},
        {"STENCIL_INDEX8", GL_STENCIL_INDEX8, false, true},
    };
    const GLContext context({.width = 8, .height = 8});
    for (const Row& row : rows) {
        for (const Source& source : {Texture2D(row.format, 1), Layer(GL_TEXTURE_2D_ARRAY, row.format, 3),
                                     Renderbuffer(row.format)}) {
            SCOPED_TRACE(std::string(row.name) + ", " + source.name);
            RemoveFiles();
            NewFramebuffer();
            source.attach(row.depth && row.stencil ? GL_DEPTH_STENCIL_ATTACHMENT
                          : row.depth              ? GL_DEPTH_ATTACHMENT
                                                   : GL_STENCIL_ATTACHMENT);
            if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
                glGetError();
                continue;
            }
            DrawQuadrants(Width, Height);
            const GLState before = GLState::Now();
            EXPECT_EQ(Take(GL_DEPTH_BUFFER_BIT), row.depth ? 0U : 1U);
            EXPECT_EQ(Take(GL_STENCIL_BUFFER_BIT), row.stencil ? 0U : 1U);
            EXPECT_EQ(Take(GL_COLOR_BUFFER_BIT), 1U);
            EXPECT_EQ(GLState::Now().ChangesSince(before), "");
            if (row.depth) {
                EXPECT_EQ(Compare("shot_depth.png", Width, Height, DepthOfQuadrants()), "");
            }
            if (row.stencil) {
                EXPECT_EQ(Compare("shot_stencil.png", Width, Height, StencilOfQuadrants()), "");
            }
            EXPECT_EQ(Files().size(), (row.depth ? 1U : 0U) + (row.stencil ? 1U : 0U));
        }
    }
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
        const GLState before = GLState::Now();
        EXPECT_EQ(Take(row.buffers), row.status);
        EXPECT_EQ(GLState::Now().ChangesSince(before), "");
        EXPECT_EQ(Files(), row.files);
    }
}

TEST_F(CaptureTest, AttachmentsOfDifferentSizesAndDeletedNames)
{
    const GLContext context({.width = 8, .height = 8});
    NewFramebuffer();
    Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
    GLuint small = 0;
    glGenRenderbuffers(1, &small);
    glBindRenderbuffer(GL_RENDERBUFFER, small);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH24_STENCIL8, 16, 8);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, small);
    DrawQuadrants(16, 8);
    EXPECT_EQ(Take(AllBuffers), 0U);
    EXPECT_EQ(LoadImage(m_folder.File("shot_color0.png")).width, Width);
    EXPECT_EQ(CompareQuadrants(LoadImage(m_folder.File("shot_depth.png")), 16, 8, DepthOfQuadrants()), "");

    // Deleted while attached to a framebuffer that is not bound: the attachment lives on, its name does not,
    // and binding the name would make a new object of it.
    RemoveFiles();
    GLint framebuffer = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteRenderbuffers(1, &small);
    GLuint texture = 0;
    glBindTexture(GL_TEXTURE_2D, 0);
    for (GLuint name = 1; name < 100 && texture == 0; ++name) {
        texture = glIsTexture(name) ? name : 0;
    }
    glDeleteTextures(1, &texture);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(framebuffer));
    const GLState before = GLState::Now();
    EXPECT_EQ(Take(AllBuffers), 1U);
    EXPECT_EQ(GLState::Now().ChangesSince(before), "");
    EXPECT_EQ(Files(), FileNames{});
}

TEST_F(CaptureTest, ReadsWhatIsBoundForDrawing)
{
    const GLContext context({.width = Width, .height = Height});
    NewFramebuffer();
    Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
    glClearColor(0.2F, 0.4F, 0.6F, 0.8F);
    glClear(GL_COLOR_BUFFER_BIT);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
    DrawQuadrants(Width, Height);
    const GLState before = GLState::Now();
    EXPECT_EQ(Take(AllBuffers), 0U);
    EXPECT_EQ(GLState::Now().ChangesSince(before), "");
    EXPECT_EQ(Compare("shot.png", Width, Height, ColorOfQuadrants()), "");
    EXPECT_EQ(Compare("shot_depth.png", Width, Height, DepthOfQuadrants()), "");
    EXPECT_EQ(Compare("shot_stencil.png", Width, Height, StencilOfQuadrants()), "");
}

void AbortOnError(GLenum /*source*/, GLenum type, GLuint /*id*/, GLenum /*severity*/, GLsizei /*length*/,
                  const GLchar* message, const void* /*user*/)
{
    if (type == GL_DEBUG_TYPE_ERROR) {
        ADD_FAILURE() << "the application's debug callback heard: " << message;
    }
}

TEST_F(CaptureTest, NothingInTheApplicationsStateBendsThePictureOrIsLost)
{
    for (const bool isWindow : {true, false}) {
        SCOPED_TRACE(isWindow ? "window surface" : "framebuffer object");
        const GLContext context({.width = Width, .height = Height, .debug = true});
        if (!isWindow) {
            NewFramebuffer();
            Layer(GL_TEXTURE_2D_ARRAY, GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
            Layer(GL_TEXTURE_2D_ARRAY, GL_DEPTH24_STENCIL8, 1).attach(GL_DEPTH_STENCIL_ATTACHMENT);
        }
        DrawQuadrants(Width, Height);
        MakeStateHostile();
        glEnable(GL_DEBUG_OUTPUT);
        glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
        glDebugMessageCallback(&AbortOnError, nullptr);

        const GLState before = GLState::Now();
        EXPECT_EQ(Take(AllBuffers), 0U);
        EXPECT_EQ(GLState::Now().ChangesSince(before), "");
        EXPECT_EQ(Compare(isWindow ? "shot.png" : "shot_color0.png", Width, Height, ColorOfQuadrants()), "");
        EXPECT_EQ(Compare("shot_depth.png", Width, Height, DepthOfQuadrants()), "");
        EXPECT_EQ(Compare("shot_stencil.png", Width, Height, StencilOfQuadrants()), "");
        glEndTransformFeedback();
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
        EXPECT_THAT(LogTexts(), testing::IsEmpty());
    }
}

TEST_F(CaptureTest, AReadThatGLRefusesIsKeptFromTheApplication)
{
    const GLContext context({.width = 8, .height = 8, .debug = true});
    glDebugMessageCallback(&AbortOnError, nullptr);
    // Incomplete, and a format that has no reading of four bytes.
    for (const auto& [color, depth] :
         {std::pair{Renderbuffer(GL_RGBA8), Renderbuffer(GL_DEPTH24_STENCIL8, 4)},
          {Texture2D(GL_RGBA16_SNORM_EXT, 0), Texture2D(GL_DEPTH24_STENCIL8, 0)}}) {
        SCOPED_TRACE(color.name);
        NewFramebuffer();
        color.attach(GL_COLOR_ATTACHMENT0);
        depth.attach(GL_DEPTH_STENCIL_ATTACHMENT);
        ClearLog();
        const GLState before = GLState::Now();
        EXPECT_EQ(Take(GL_COLOR_BUFFER_BIT), 1U);
        EXPECT_EQ(GLState::Now().ChangesSince(before), "");
        constexpr Pixel Nothing{};
        EXPECT_EQ(Compare("shot_color0.png", Width, Height, {Nothing, Nothing, Nothing, Nothing}), "");
        EXPECT_EQ(LogTexts().size(), 1U) << "a warning";
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
    const GLState before = GLState::Now();
    EXPECT_EQ(Take(GL_DEPTH_BUFFER_BIT), 0U);
    EXPECT_EQ(GLState::Now().ChangesSince(before), "");
    EXPECT_EQ(Compare("shot_depth.png", Width, Height, AllBlack), "");
    EXPECT_EQ(LogTexts().size(), 1U);
}

TEST_F(CaptureTest, EveryEntryPointMayBeMissing)
{
    const GLContext context({.width = Width, .height = Height});
    for (const bool isWindow : {true, false}) {
        if (!isWindow) {
            NewFramebuffer();
            Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
            Texture2D(GL_DEPTH24_STENCIL8, 0).attach(GL_DEPTH_STENCIL_ATTACHMENT);
        }
        DrawQuadrants(Width, Height);
        const GLState before = GLState::Now();
        int refusals = 0;
        for (const auto& entry : DispatchEntries()) {
            for (const auto& [buffer, file, expected] :
                 {std::tuple{GL_COLOR_BUFFER_BIT, isWindow ? "shot.png" : "shot_color0.png",
                             ColorOfQuadrants()},
                  std::tuple{GL_DEPTH_BUFFER_BIT, "shot_depth.png", DepthOfQuadrants()},
                  std::tuple{GL_STENCIL_BUFFER_BIT, "shot_stencil.png", StencilOfQuadrants()}}) {
                SCOPED_TRACE(entry.name + " " + file);
                RemoveFiles();
                const CallRecorder calls;
                const WithheldEntry withheld(entry.name);
                Take(static_cast<GLbitfield>(buffer));
                if (Files().empty()) {
                    ++refusals;
                    EXPECT_EQ(calls.CountGL(),
                              calls.Count("glGetIntegerv") + calls.Count("glBindFramebuffer"));
                } else {
                    EXPECT_EQ(Compare(file, Width, Height, expected), "");
                }
            }
        }
        EXPECT_GT(refusals, 10);
        EXPECT_EQ(GLState::Now().ChangesSince(before), "");
    }
}

TEST_F(CaptureTest, AContextWithoutTheNeededVersionOrNoneIsRefused)
{
    {
        const GLContext context({.width = Width, .height = Height});
        const OfferedVersion es20(20);
        EXPECT_EQ(Take(GL_COLOR_BUFFER_BIT), 1U);
    }
    EXPECT_EQ(Take(AllBuffers), 1U);
    EXPECT_EQ(Files(), FileNames{});
}

TEST_F(CaptureTest, SizesThatNoMemoryHolds)
{
    const GLContext context({.width = 8, .height = 8});
    const GLState before = GLState::Now();
    GLScreenshotHandler handler(ScreenshotWriter::FormatBMP);
    const std::string name = m_folder.File("shot");
    constexpr std::int32_t Huge = std::numeric_limits<std::int32_t>::max();
    for (const auto& [width, height] : {std::pair{Huge, Huge}, {0, 8}, {8, 0}, {-1, 8}, {8, -1}}) {
        EXPECT_EQ(handler.WriteColorBuffer(name, GL_BACK, width, height, GL_RGBA32F), 1U) << width;
        EXPECT_EQ(handler.WriteDepthStencilBuffer(name, width, height, 24, 8, false), 1U) << width;
    }
    EXPECT_EQ(handler.WriteDepthStencilBuffer(name, 8, 8, 20, 0, false), 1U);
    EXPECT_EQ(GLState::Now().ChangesSince(before), "");
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
    const GLState before = GLState::Now();
    const long memory = ResidentMemory();
    takeMany(10000, GL_COLOR_BUFFER_BIT);
    takeMany(1000, GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    EXPECT_LT(ResidentMemory() - memory, 8 << 20);
    EXPECT_EQ(GLState::Now().ChangesSince(before), "");
}

} // namespace
