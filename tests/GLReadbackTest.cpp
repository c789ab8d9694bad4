// What a sink gets, and that memory which is used again never shows an earlier picture.

#include "Util/GLReadback.h"

#include "Playback/PlaybackEnvironment.h"
#include "support/CaptureFixture.h"
#include "support/GLContext.h"
#include "support/Scene.h"
#include "support/TestDispatch.h"

#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <functional>
#include <tuple>

namespace {

using namespace TestSupport;
using testing::ElementsAre;
using Util::CapturedImage;
using Util::GLScreenshotHandler;
using Util::ScreenshotWriter;

constexpr int Width = SourceWidth;
constexpr int Height = SourceHeight;
constexpr Pixel Nothing{};
constexpr std::array<Pixel, 4> AllNothing{Nothing, Nothing, Nothing, Nothing};

/// Notes what comes, and lends memory in which something is left of an earlier picture.
class NotingSink : public Util::ImageSink
{
public:
    using ImageSink::ImageSink;

    std::uint32_t Take(const CapturedImage& image) override
    {
        images.push_back(image);
        if (!lends) {
            memory.assign(image.pixels, image.pixels + std::size_t{Width} * Height * 4);
        }
        EXPECT_EQ(image.pixels == memory.data(), lends);
        return images.size() == most ? 77 : 0;
    }

    std::uint8_t* Lend(std::size_t bytes) override
    {
        memory.assign(bytes, 0xAB);
        return lends ? memory.data() : nullptr;
    }

    bool lends = true;
    std::vector<CapturedImage> images;
    std::vector<std::uint8_t> memory;
    std::size_t most = 100; ///< number of the picture that is not taken
};

using ReadbackTest = CaptureFixture;

TEST_F(ReadbackTest, ASinkGetsWhatIsNeededToWriteAndItsStatusCounts)
{
    const GLContext context({.width = Width, .height = Height});
    NewFramebuffer();
    Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
    Texture2D(GL_RGBA16F, 0).attach(GL_COLOR_ATTACHMENT1);
    Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT2);
    NotingSink sink;
    sink.most = 2;
    GLScreenshotHandler handler(ScreenshotWriter::FormatDDS); // writes nothing, and need not
    handler.SetSink(&sink);

    auto& opaque = Playback::PlaybackEnvironment::Instance().m_opaqueScreenshots;
    opaque = true;
    ScreenshotWriter::SetPNGEncoding(ScreenshotWriter::PNGFast);
    EXPECT_EQ(handler.TakeScreenshot("path/shot", GL_COLOR_BUFFER_BIT), 77U);
    opaque = false;
    ScreenshotWriter::SetPNGEncoding(ScreenshotWriter::PNGSmall);

    ASSERT_EQ(sink.images.size(), 2U) << "the walk ends with the picture that is not taken";
    const CapturedImage& image = sink.images[1];
    EXPECT_EQ(sink.images[0].fileName, "path/shot_color0");
    EXPECT_EQ(image.fileName, "path/shot_color1");
    EXPECT_EQ(image.width, 64U);
    EXPECT_EQ(image.height, 48U);
    EXPECT_EQ(image.format, GLenum{GL_RGBA});
    EXPECT_EQ(image.type, GLenum{GL_FLOAT});
    EXPECT_TRUE(image.opaque);
    EXPECT_EQ(image.encoding, Util::PNGFast);
    EXPECT_EQ(sink.memory.size(), 64U * 48U * 16U);

    handler.SetSink(nullptr);
    EXPECT_EQ(handler.TakeScreenshot(m_folder.File("shot"), GL_COLOR_BUFFER_BIT), 8U);
}

TEST_F(ReadbackTest, WhatCountsIsTheColourWhateverTheOrderOfTheDriver)
{
    const GLContext context({.width = Width, .height = Height});
    DrawQuadrants(Width, Height);
    NotingSink plain;
    ASSERT_EQ(Util::ReadScreenshot(plain, "shot", GL_COLOR_BUFFER_BIT), 0U);
    ASSERT_FALSE(plain.images.at(0).isBGRA);
    GLint own = 0;
    glGetIntegerv(GL_IMPLEMENTATION_COLOR_READ_FORMAT, &own);
    const auto expectSame = [&](bool isBGRA) {
        NotingSink sink(Util::PixelOrder::OfTheDriver);
        ASSERT_EQ(Util::ReadScreenshot(sink, "shot", GL_COLOR_BUFFER_BIT), 0U);
        EXPECT_EQ(sink.images.at(0).isBGRA, isBGRA);
        for (std::size_t i = 0; isBGRA && i < sink.memory.size(); i += 4) {
            std::swap(sink.memory[i], sink.memory[i + 2]);
        }
        EXPECT_EQ(sink.memory, plain.memory);
        EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
    };
    expectSame(own == GL_BGRA_EXT);
    {
        const NoErrorReports none;
        expectSame(false);
    }

    // One that names an order and does not read it.
    const ReplacedEntry query(Util::GL::GetIntegerv, [](GLenum name, GLint* value) {
        glGetIntegerv(name, value);
        *value = name == GL_IMPLEMENTATION_COLOR_READ_FORMAT ? GL_BGRA_EXT : *value;
    });
    const ReplacedEntry read(Util::GL::ReadPixels, [](auto... arguments) {
        const auto format = std::get<4>(std::tuple(arguments...));
        format == GL_BGRA_EXT ? glEnable(0xFFFF) : glReadPixels(arguments...);
    });
    expectSame(false);

    // One that gives up each time when some of it has been written.
    const ReplacedEntry half(Util::GL::ReadPixels, [](auto... arguments) {
        glReadPixels(arguments...);
        glEnable(0xFFFF);
    });
    NotingSink sink(Util::PixelOrder::OfTheDriver);
    sink.lends = false;
    EXPECT_EQ(Util::ReadScreenshot(sink, "shot", GL_COLOR_BUFFER_BIT), 0U);
    EXPECT_EQ(sink.memory, std::vector<std::uint8_t>(sink.memory.size()));
}

/// A picture that the driver does not deliver, or not whole, after one that it did.
struct Refusal
{
    const char* name;
    /// Sets the scene and captures.
    std::function<std::uint32_t(GLScreenshotHandler&, const std::string&)> capture;
    const char* file;
    std::size_t warnings;
    std::array<Pixel, 4> expected;
};

TEST_F(ReadbackTest, MemoryUsedAgainShowsNoEarlierPicture)
{
    const auto attachments = [](const Source& color, const Source& depth) {
        NewFramebuffer();
        color.attach(GL_COLOR_ATTACHMENT0);
        depth.attach(GL_DEPTH_STENCIL_ATTACHMENT);
    };
    const auto refuseToRead = [](auto capture) {
        return [=](GLScreenshotHandler& handler, const std::string& name) {
            const ReplacedEntry read(Util::GL::ReadPixels, [](auto...) { glEnable(0xFFFF); });
            return capture(handler, name);
        };
    };
    const auto window = [](GLbitfield buffers) {
        return [=](GLScreenshotHandler& handler, const std::string& name) {
            return handler.TakeScreenshot(name, buffers);
        };
    };
    const std::vector<Refusal> refusals{
        {"an incomplete framebuffer object",
         [&](GLScreenshotHandler& handler, const std::string& name) {
             attachments(Renderbuffer(GL_RGBA8), Renderbuffer(GL_DEPTH24_STENCIL8, 4));
             return handler.TakeScreenshotFBO(name, GL_COLOR_ATTACHMENT0);
         },
         "shot_color0.png", 1, AllNothing},
        {"a size beyond the source's",
         [&](GLScreenshotHandler& handler, const std::string& name) {
             NewFramebuffer();
             Renderbuffer(GL_RGBA8, 0, {Width / 2, Height / 2}).attach(GL_COLOR_ATTACHMENT0);
             glClearColor(1.0F, 0.0F, 0.0F, 1.0F);
             glClear(GL_COLOR_BUFFER_BIT);
             return handler.WriteColorBuffer(name, GL_COLOR_ATTACHMENT0, Width, Height, GL_RGBA8);
         },
         "shot.png",
         0,
         {Pixel{255, 0, 0, 255}, Nothing, Nothing, Nothing}},
        {"a window's colour", refuseToRead(window(GL_COLOR_BUFFER_BIT)), "shot.png", 1, AllNothing},
        {"a window's depth", refuseToRead(window(GL_DEPTH_BUFFER_BIT)), "shot_depth.png", 1, AllBlack},
        {"a lost context",
         [&](GLScreenshotHandler& handler, const std::string& name) {
             const ReplacedEntry read(Util::GL::ReadPixels, [](auto...) {});
             const ReplacedEntry error(Util::GL::GetError, [] {
                 glGetError();
                 return GLenum{GL_CONTEXT_LOST_KHR};
             });
             return handler.TakeScreenshot(name, GL_COLOR_BUFFER_BIT);
         },
         "shot.png", 1, AllNothing},
        {"half a read, in a context that reports no errors",
         [&](GLScreenshotHandler& handler, const std::string& name) {
             const ReplacedEntry read(Util::GL::ReadPixels, [](auto... arguments) {
                 auto* const pixels = static_cast<std::uint8_t*>(std::get<6>(std::tuple(arguments...)));
                 std::fill_n(pixels + (Width * Height - 1) * 4, 4, std::uint8_t{0});
             });
             const NoErrorReports none;
             return handler.TakeScreenshot(name, GL_COLOR_BUFFER_BIT);
         },
         "shot.png", 0, AllNothing},
        {"a context that reports no errors",
         [&](GLScreenshotHandler& handler, const std::string& name) {
             const ReplacedEntry read(Util::GL::ReadPixels, [](auto...) {});
             const NoErrorReports none;
             return handler.TakeScreenshot(name, GL_DEPTH_BUFFER_BIT);
         },
         "shot_depth.png", 0, AllBlack},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.name);
        const GLContext context({.width = Width, .height = Height});
        DrawQuadrants(Width, Height);
        GLScreenshotHandler handler(ScreenshotWriter::FormatPNG);
        const std::string name = m_folder.File("shot");
        ASSERT_EQ(handler.TakeScreenshot(name, AllBuffers), 0U);
        ClearLog();
        RemoveFiles();
        EXPECT_EQ(refusal.capture(handler, name), 0U);
        EXPECT_EQ(Compare(refusal.file, Width, Height, refusal.expected), "");
        EXPECT_EQ(LogTexts().size(), refusal.warnings);
        EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
    }
}

TEST_F(ReadbackTest, AHandlerThatGaveItsMemoryBackReadsOn)
{
    const GLContext context({.width = Width, .height = Height});
    DrawQuadrants(Width, Height);
    GLScreenshotHandler handler(ScreenshotWriter::FormatPNG);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(handler.TakeScreenshot(m_folder.File("shot"), GL_COLOR_BUFFER_BIT), 0U);
        EXPECT_EQ(Compare("shot.png", Width, Height, QuadrantsAs(Kind::Color)), "");
        handler.ReleaseMemory();
    }
}

TEST_F(ReadbackTest, WithoutASurfaceNothingIsReadAndNoErrorRaised)
{
    const GLContext context({.debug = true});
    eglMakeCurrent(eglGetCurrentDisplay(), EGL_NO_SURFACE, EGL_NO_SURFACE, eglGetCurrentContext());
    FailOnMessages();
    for (const Kind kind : AllKinds) {
        EXPECT_EQ(TakeOne(kind), 1U);
        EXPECT_EQ(Thumbnail(kind, 8, 8), kind == Kind::Color ? 3U : 4U);
        EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
        EXPECT_EQ(eglGetError(), EGL_SUCCESS);
    }
    EXPECT_EQ(Files(), FileNames{});
}

} // namespace
