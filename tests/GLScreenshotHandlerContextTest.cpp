// Contexts with something that the software driver lacks, or whose tables do: what a capture does there.

#include "support/CaptureFixture.h"
#include "support/GLContext.h"
#include "support/Scene.h"
#include "support/TestDispatch.h"

#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <GLES2/gl2ext.h>

#include <functional>
#include <string>

namespace {

using namespace TestSupport;
using Util::GLScreenshotHandler;
using Util::ScreenshotWriter;

constexpr int Width = SourceWidth;
constexpr int Height = SourceHeight;

/// Lets the driver answer as if it had an extension.
class Offered
{
public:
    explicit Offered(const char* extension)
        : m_names(std::string(reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS))) + " " + extension)
    {}

private:
    std::string m_names;
    ReplacedEntry<&Core::KHRLayer::GLESProc, 71, const GLubyte*, GLenum> m_string{
        Util::GL::GetString, [this](GLenum name) {
            return name == GL_EXTENSIONS ? reinterpret_cast<const GLubyte*>(m_names.c_str())
                                         : glGetString(name);
        }};
};

using ContextTest = CaptureFixture;

GLenum s_polygonMode = GL_LINE_NV;

void SetPolygonMode(GLenum face, GLenum mode)
{
    EXPECT_EQ(face, GLenum{GL_FRONT_AND_BACK});
    s_polygonMode = mode;
}

TEST_F(ContextTest, PolygonsAreFilledWhateverTheApplicationDoes)
{
    const GLContext context({.width = Width, .height = Height});
    DrawQuadrants(Width, Height);
    for (const std::string vendor : {"NV", "ANGLE"}) {
        const Offered offered(vendor == "NV" ? "GL_NV_polygon_mode" : "GL_ANGLE_polygon_mode");
        const ReplacedEntry query(Util::GL::GetIntegerv, [](GLenum name, GLint* value) {
            if (name == GL_POLYGON_MODE_NV) {
                *value = static_cast<GLint>(s_polygonMode);
            } else {
                glGetIntegerv(name, value);
            }
        });
        const ReplacedEntry draw(Util::GL::DrawArrays, [](auto... arguments) {
            if (s_polygonMode == GL_FILL_NV) {
                glDrawArrays(arguments...);
            }
        });
        for (const bool hasFunction : {true, false}) {
            const ReplacedEntry lookup(Util::EGL::GetProcAddress, [&](const char* name) {
                EXPECT_EQ(name, "glPolygonMode" + vendor);
                return hasFunction ? reinterpret_cast<void (*)()>(&SetPolygonMode) : nullptr;
            });
            s_polygonMode = GL_LINE_NV;
            ClearLog();
            EXPECT_EQ(Take(GL_DEPTH_BUFFER_BIT), 0U);
            EXPECT_EQ(s_polygonMode, GLenum{GL_LINE_NV});
            EXPECT_EQ(
                Compare("shot_depth.png", Width, Height, hasFunction ? QuadrantsAs(Kind::Depth) : AllBlack),
                "");
            EXPECT_EQ(LogTexts().size(), hasFunction ? 0U : 1U);
        }
    }
}

TEST_F(ContextTest, SrgbIsEncodedWhateverTheApplicationDoes)
{
    const GLContext context({.width = 8, .height = 8});
    const bool isOptional = HasExtension("GL_EXT_sRGB_write_control");
    const auto encode = [isOptional](void (*set)(GLenum)) {
        if (isOptional) {
            set(GL_FRAMEBUFFER_SRGB_EXT);
        }
    };
    for (const int samples : {0, 4}) {
        NewFramebuffer();
        Renderbuffer(GL_SRGB8_ALPHA8, samples).attach(GL_COLOR_ATTACHMENT0);
        encode(&glEnable);
        glClearColor(0.2F, 0.4F, 0.6F, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
        encode(&glDisable);
        for (const bool isThumbnail : {false, true}) {
            EXPECT_EQ(isThumbnail ? Thumbnail(Kind::Color, 16, 12) : TakeOne(Kind::Color), 0U);
            EXPECT_EQ(LoadImage(m_folder.File(isThumbnail ? "shot.png" : "shot_color0.png")).At(8, 6),
                      (Pixel{124, 170, 203, 255}))
                << samples << " samples, thumbnail: " << isThumbnail;
            EXPECT_FALSE(isOptional && glIsEnabled(GL_FRAMEBUFFER_SRGB_EXT) == GL_TRUE);
        }
    }
}

TEST_F(ContextTest, WithoutErrorReportsATextureIsNotFoundByTrial)
{
    struct Row
    {
        Source source;
        bool isUnbound; ///< from every unit
        bool isTold;
    };
    const std::vector<Row> rows{
        {Texture2D(GL_RGBA8, 1), false, true}, {Layer(GL_TEXTURE_2D_ARRAY, GL_RGBA8, 2), false, true},
        {CubeFace(GL_RGBA8), true, true},      {Renderbuffer(GL_RGBA8), true, true},
        {Texture2D(GL_RGBA8, 0), true, false}, {Layer(GL_TEXTURE_3D, GL_RGBA8, 1), true, false},
    };
    const GLContext context({.width = 8, .height = 8});
    const NoErrorReports none;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.source.name + (row.isUnbound ? ", not bound" : ", bound to another unit"));
        NewFramebuffer();
        glActiveTexture(GL_TEXTURE7);
        row.source.attach(GL_COLOR_ATTACHMENT0);
        if (row.isUnbound) {
            glBindTexture(GL_TEXTURE_2D, 0);
            glBindTexture(GL_TEXTURE_3D, 0);
        }
        glActiveTexture(GL_TEXTURE1);
        DrawQuadrants(row.source.width, row.source.height);
        const GLSnapshot before = GLSnapshot::Now();
        for (const bool isThumbnail : {false, true}) {
            RemoveFiles();
            EXPECT_EQ(isThumbnail ? Thumbnail(Kind::Color, 0, 0) : TakeOne(Kind::Color),
                      row.isTold ? 0U : 1U);
            EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "") << "an error of a trial among them";
            ASSERT_EQ(Files().size(), row.isTold ? 1U : 0U);
            if (row.isTold) {
                EXPECT_EQ(Compare(Files().begin()->c_str(), row.source.width, row.source.height,
                                  QuadrantsAs(Kind::Color), 1),
                          "");
            }
        }
    }
    EXPECT_LE(LogTexts().size(), 1U) << "told once";
}

TEST_F(ContextTest, AWindowSurfaceNeedsNothingBeyondOpenGLES30)
{
    const GLContext context({.width = Width, .height = Height});
    DrawQuadrants(Width, Height);
    const OfferedVersion es30(30);
    EXPECT_EQ(Take(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT), 0U);
    EXPECT_EQ(Compare("shot.png", Width, Height, QuadrantsAs(Kind::Color)), "");
    EXPECT_EQ(Compare("shot_depth.png", Width, Height, QuadrantsAs(Kind::Depth)), "");
}

TEST_F(ContextTest, ASurfaceThatHasNoWidthIsEmpty)
{
    const GLContext context({.width = Width, .height = Height});
    const ReplacedEntry size(Util::EGL::QuerySurface, [](EGLDisplay, EGLSurface, EGLint name, EGLint* value) {
        *value = name == EGL_HEIGHT ? 5 : 0;
        return EGLBoolean{EGL_TRUE};
    });
    for (const Kind kind : AllKinds) {
        EXPECT_EQ(TakeOne(kind), 1U);
        EXPECT_EQ(Thumbnail(kind, 8, 8), 3U);
    }
    EXPECT_EQ(Files(), FileNames{});
}

TEST_F(ContextTest, ABoxAsLargeAsATextureCanBe)
{
    const GLContext context({.width = 64, .height = 1});
    DrawQuadrants(64, 1);
    GLint limit = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limit);
    for (const Kind kind : AllKinds) {
        for (const bool isBeyond : {false, true}) {
            RemoveFiles();
            const bool isColor = kind == Kind::Color;
            EXPECT_EQ(Thumbnail(kind, limit + isBeyond, limit, ScreenshotWriter::FormatBMP),
                      isColor || !isBeyond ? 0U : 1U);
            const Image image = LoadImage(m_folder.File("shot.bmp"));
            EXPECT_EQ(image.width, !isBeyond ? limit : isColor ? 64 : 0);
        }
    }
}

TEST_F(ContextTest, DepthAndStencilIntoMemoryOfTheCallers)
{
    const GLContext context({.width = Width, .height = Height});
    DrawQuadrants(Width, Height);
    GLScreenshotHandler handler(ScreenshotWriter::FormatPNG);
    const auto get = [&](std::uint8_t* pixels, std::uint32_t width, bool stencil) {
        return handler.GetDepthStencilBuffer(width, Height, width, Height, pixels, GL_DEPTH24_STENCIL8,
                                             GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8, stencil);
    };
    {
        const CallCounter calls;
        EXPECT_EQ(get(nullptr, Width, false), 6);
        std::vector<std::uint8_t> pixels(std::size_t{Width} * Height * 4, 99);
        const WithheldEntry withheld("glBlitFramebuffer");
        EXPECT_EQ(get(pixels.data(), Width, false), 0);
        EXPECT_EQ(get(nullptr, Width, false), 0);
        EXPECT_THAT(pixels, testing::Each(99));
        EXPECT_EQ(calls.Count(), 0U);
    }
    // A source larger than the surface: what the surface does not have is 0.
    for (const bool stencil : {false, true}) {
        constexpr std::uint32_t Wide = 2 * Width;
        std::vector<std::uint8_t> pixels(std::size_t{Wide} * Height * 4, 99);
        EXPECT_EQ(get(pixels.data(), Wide, stencil), 0);
        const auto at = [&](std::size_t x, std::size_t up) {
            const std::uint8_t* const p = &pixels[(up * Wide + x) * 4];
            return Pixel{p[0], p[1], p[2], p[3]};
        };
        const auto shown = QuadrantsAs(stencil ? Kind::Stencil : Kind::Depth);
        EXPECT_EQ(at(0, 0), shown[0]);
        EXPECT_EQ(at(Width - 1, Height - 1), shown[3]);
        EXPECT_EQ(at(Width, Height - 1), Black);
        EXPECT_EQ(at(Wide - 1, 0), Black);
    }
}

TEST_F(ContextTest, WhatIsSampledIsAttachedNoLonger)
{
    const GLContext context({.width = Width, .height = Height});
    DrawQuadrants(Width, Height);
    const ReplacedEntry draw(Util::GL::DrawArrays, [](auto... arguments) {
        for (const GLenum point : std::array<GLenum, 2>{GL_DEPTH_ATTACHMENT, GL_STENCIL_ATTACHMENT}) {
            GLint type = -1;
            glGetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point,
                                                  GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, &type);
            EXPECT_EQ(type, GL_NONE);
        }
        glDrawArrays(arguments...);
    });
    EXPECT_EQ(Take(GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT), 0U);
}

} // namespace
