// What holds at full size and for thumbnails alike: every kind of source, every state, every missing entry
// point.

#include "support/CaptureFixture.h"
#include "support/DriverFaults.h"
#include "support/GLContext.h"
#include "support/Scene.h"
#include "support/TestDispatch.h"

#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <GLES2/gl2ext.h>

#include <iostream>

namespace {

using namespace TestSupport;

constexpr int Width = SourceWidth;
constexpr int Height = SourceHeight;

using SourcesTest = CaptureFixture;

/// The quadrants as a format shows them that lacks components.
std::array<Pixel, 4> ColorWith(const std::string& components)
{
    std::array<Pixel, 4> color = QuadrantsAs(Kind::Color);
    for (Pixel& pixel : color) {
        for (std::size_t i = 0; i < 4; ++i) {
            const bool isThere = components.find("rgba"[i]) != std::string::npos;
            pixel.at(i) = isThere ? pixel.at(i) : i == 3 ? 255 : 0;
        }
    }
    return color;
}

TEST_F(SourcesTest, WindowSurfaces)
{
    struct Row
    {
        const char* name;
        GLContext::Options options;
    };
    constexpr GLContext::Options Floats{.width = 64,
                                        .height = 48,
                                        .redBits = 16,
                                        .greenBits = 16,
                                        .blueBits = 16,
                                        .alphaBits = 16,
                                        .isFloat = true};
    GLContext::Options floatSamples = Floats;
    floatSamples.samples = 4;
    const std::vector<Row> rows{
        {"floats", Floats},
        {"floats, 4 samples", floatSamples},
        {"24/8", {.width = 64, .height = 48}},
        {"no alpha, 4 samples", {.width = 64, .height = 48, .alphaBits = 0, .samples = 4}},
        {"16/0", {.width = 64, .height = 48, .depthBits = 16, .stencilBits = 0}},
        {"32/0, fixed-point", {.width = 64, .height = 48, .depthBits = 32, .stencilBits = 0}},
        {"colour alone", {.width = 64, .height = 48, .depthBits = 0, .stencilBits = 0}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        if (!GLContext::IsOffered(row.options)) {
            continue;
        }
        ClearLog();
        const GLContext context(row.options);
        if (row.options.samples != 0 && !ReadsPixels()) {
            continue;
        }
        DrawQuadrants(Width, Height);
        ExpectPictures(Kind::Color, Width, Height, ColorWith(row.options.alphaBits != 0 ? "rgba" : "rgb"));
        if (row.options.depthBits != 0) {
            ExpectPictures(Kind::Depth, Width, Height, QuadrantsAs(Kind::Depth));
        } else {
            EXPECT_EQ(TakeOne(Kind::Depth), 1U);
            EXPECT_EQ(Thumbnail(Kind::Depth, 32, 24), 4U);
        }
        if (row.options.stencilBits != 0) {
            ExpectPictures(Kind::Stencil, Width, Height, QuadrantsAs(Kind::Stencil));
            EXPECT_THAT(LogTexts(), testing::IsEmpty());
        } else {
            EXPECT_EQ(Thumbnail(Kind::Stencil, 32, 24), 4U);
            // Depth bits alone still choose a format for the full-size copy, which then has no stencil to
            // show.
            RemoveFiles();
            EXPECT_EQ(TakeOne(Kind::Stencil), row.options.depthBits != 0 ? 0U : 1U);
            EXPECT_EQ(Files().size(), row.options.depthBits != 0 ? 1U : 0U);
            EXPECT_EQ(LogTexts().size(), Files().size()) << "a warning for a black picture";
        }
    }
}

/// What a framebuffer object is captured from.
struct Row
{
    Source source;
    GLenum format;
    const char* components; ///< of the format: any of "rgba", "d" for depth, "s" for stencil

    [[nodiscard]] bool Has(char component) const
    {
        return std::string_view(components).find(component) != std::string_view::npos;
    }
    [[nodiscard]] GLenum Point() const
    {
        return Has('r')               ? GL_COLOR_ATTACHMENT0
               : Has('d') && Has('s') ? GL_DEPTH_STENCIL_ATTACHMENT
               : Has('d')             ? GL_DEPTH_ATTACHMENT
                                      : GL_STENCIL_ATTACHMENT;
    }
};

/// Every kind of attachment and every size in one format, every format in the two kinds that are described
/// most differently.
std::vector<Row> Rows()
{
    std::vector<Row> rows;
    for (const auto& [format, components] :
         {std::pair{GLenum{GL_RGBA8}, "rgba"}, {GL_DEPTH24_STENCIL8, "ds"}}) {
        for (const Source& source :
             {CubeFace(format), Layer(GL_TEXTURE_3D, format, 0), Layer(GL_TEXTURE_3D, format, 3),
              Layer(GL_TEXTURE_2D_ARRAY, format, 0), Layer(GL_TEXTURE_2D_ARRAY, format, 2),
              Layer(GL_TEXTURE_CUBE_MAP_ARRAY, format, 7), MultisampleTexture(format, 4),
              MultisampleLayer(format, 4, 0), MultisampleLayer(format, 4, 2), Renderbuffer(format),
              Texture2D(format, 0, {1, 1}), Texture2D(format, 0, {1, 37}), Texture2D(format, 0, {41, 1}),
              Texture2D(format, 0, {63, 31})}) {
            rows.push_back({source, format, components});
        }
    }
    for (const auto& [format, components] : {std::pair{GLenum{GL_RGBA8}, "rgba"},
                                             {GL_RGB8, "rgb"},
                                             {GL_RGB565, "rgb"},
                                             {GL_RGBA4, "rgba"},
                                             {GL_RGB10_A2, "rgba"},
                                             {GL_SRGB8_ALPHA8, "rgba"},
                                             {GL_R8, "r"},
                                             {GL_RGBA16_EXT, "rgba"},
                                             {GL_RG16_EXT, "rg"},
                                             {GL_RG16F, "rg"},
                                             {GL_RGBA16F, "rgba"},
                                             {GL_RGBA32F, "rgba"},
                                             {GL_R11F_G11F_B10F, "rgb"},
                                             {GL_DEPTH_COMPONENT16, "d"},
                                             {GL_DEPTH_COMPONENT24, "d"},
                                             {GL_DEPTH_COMPONENT32F, "d"},
                                             {GL_DEPTH_COMPONENT32_OES, "d"},
                                             {GL_DEPTH24_STENCIL8, "ds"},
                                             {GL_DEPTH32F_STENCIL8, "ds"},
                                             {GL_STENCIL_INDEX8, "s"}}) {
        rows.push_back({Texture2D(format, 2), format, components});
        rows.push_back({Renderbuffer(format, 4), format, components});
    }
    return rows;
}

TEST_F(SourcesTest, AttachmentsOfEveryKindFormatAndSize)
{
    const GLContext context({.width = 8, .height = 8});
    int shown = 0;
    int leftOut = 0;
    for (const Row& row : Rows()) {
        const auto& [name, width, height, attach] = row.source;
        SCOPED_TRACE(name + ", format " + std::to_string(row.format) + ", " + std::to_string(width) + " x " +
                     std::to_string(height));
        const GLuint framebuffer = NewFramebuffer();
        attach(row.Point());
        if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
            continue; // not every format is renderable in every target
        }
        glGetError();
        DrawQuadrants(width, height);
        for (const Kind kind : AllKinds) {
            if (!row.Has("rds"[static_cast<std::size_t>(kind)])) {
                if (kind != Kind::Color) {
                    EXPECT_EQ(TakeOne(kind), 1U);
                    EXPECT_EQ(Thumbnail(kind, 8, 8), 4U);
                }
                continue;
            }
            const auto expected = kind == Kind::Color ? ColorWith(row.components) : QuadrantsAs(kind);
            std::vector<int> divisors{1, 2};
            std::erase_if(divisors, [&, w = width, h = height](int divisor) {
                const bool isWhole = w % divisor == 0 && h % divisor == 0;
                const bool isRight = !isWhole || CopiesRight(kind, w, h, expected, divisor);
                leftOut += isRight ? 0 : 1;
                return !isWhole || !isRight;
            });
            ExpectPictures(kind, width, height, expected, divisors);
        }
        glDeleteFramebuffers(1, &framebuffer);
        ++shown;
    }
    EXPECT_GT(shown, 50);
    std::cout << leftOut << " pictures left out that the driver by itself copies wrong\n";
    EXPECT_THAT(LogTexts(), testing::IsEmpty());
}

TEST_F(SourcesTest, NothingInTheApplicationsStateBendsThePictureOrIsLost)
{
    for (const bool isWindow : {true, false}) {
        SCOPED_TRACE(isWindow ? "window surface" : "framebuffer object");
        const GLContext context({.width = Width, .height = Height, .debug = true});
        if (!isWindow) {
            NewFramebuffer();
            Layer(GL_TEXTURE_2D_ARRAY, GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
            Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT1);
            Layer(GL_TEXTURE_2D_ARRAY, GL_DEPTH24_STENCIL8, 1).attach(GL_DEPTH_STENCIL_ATTACHMENT);
        }
        DrawQuadrants(Width, Height);
        MakeStateHostile();
        if (!isWindow) {
            glReadBuffer(GL_COLOR_ATTACHMENT1);
        }
        FailOnMessages();
        ExpectPictures(Kind::Color, Width, Height, QuadrantsAs(Kind::Color));
        ExpectPictures(Kind::Depth, Width, Height, QuadrantsAs(Kind::Depth));
        ExpectPictures(Kind::Stencil, Width, Height, QuadrantsAs(Kind::Stencil));
        glEndTransformFeedback();
        EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
        EXPECT_THAT(LogTexts(), testing::IsEmpty());
    }
}

TEST_F(SourcesTest, EveryEntryPointMayBeMissing)
{
    const GLContext context({.width = Width, .height = Height});
    for (const bool isWindow : {true, false}) {
        if (!isWindow) {
            NewFramebuffer();
            Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
            Texture2D(GL_DEPTH24_STENCIL8, 0).attach(GL_DEPTH_STENCIL_ATTACHMENT);
        }
        DrawQuadrants(Width, Height);
        const GLSnapshot before = GLSnapshot::Now();
        int refusals = 0;
        for (const std::string& name : DispatchNames()) {
            for (const Kind kind : AllKinds) {
                for (const bool isThumbnail : {false, true}) {
                    SCOPED_TRACE(name + ", kind " + std::to_string(static_cast<int>(kind)) +
                                 (isThumbnail ? ", thumbnail" : ""));
                    RemoveFiles();
                    const CallCounter calls;
                    const WithheldEntry withheld(name);
                    if ((isThumbnail ? Thumbnail(kind, 32, 24) : TakeOne(kind)) != 0) {
                        ++refusals;
                        EXPECT_EQ(calls.Count(), 0U);
                        EXPECT_EQ(Files(), FileNames{});
                    } else {
                        EXPECT_EQ(Files().size(), 1U);
                    }
                }
            }
        }
        EXPECT_GT(refusals, 100);
        EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
    }
}

} // namespace
