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

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace {

using namespace TestSupport;
using Util::ScreenshotWriter;

using ThumbnailTest = CaptureFixture;

TEST_F(ThumbnailTest, SizesFitTheBox)
{
    struct Case
    {
        int maxWidth;
        int maxHeight;
        int width;
        int height;
    };
    const std::vector<Case> cases{
        {256, 256, 256, 144}, {200, 100, 177, 100}, {100, 400, 100, 56}, {50, 0, 50, 28},    {0, 0, 64, 36},
        {32, 18, 32, 18},     {0, 18, 32, 18},      {2, 2, 2, 1},        {300, 90, 160, 90},
    };
    const GLContext context({.width = 64, .height = 36});
    for (const Case& row : cases) {
        SCOPED_TRACE(std::to_string(row.maxWidth) + " x " + std::to_string(row.maxHeight));
        for (const Kind kind : {Kind::Color, Kind::Depth}) {
            EXPECT_EQ(Thumbnail(kind, row.maxWidth, row.maxHeight, ScreenshotWriter::FormatBMP), 0U);
            const Image image = LoadImage(m_folder.File("shot.bmp"));
            EXPECT_EQ(image.width, row.width);
            EXPECT_EQ(image.height, row.height);
        }
    }
}

TEST_F(ThumbnailTest, BoxesThatGiveNoSize)
{
    constexpr int Huge = std::numeric_limits<int>::max();
    const GLContext context({.width = 64, .height = 48});
    for (const bool isWindow : {true, false}) {
        if (!isWindow) {
            NewFramebuffer();
            Renderbuffer(GL_RGBA8, 4).attach(GL_COLOR_ATTACHMENT0);
            Renderbuffer(GL_DEPTH24_STENCIL8, 4).attach(GL_DEPTH_STENCIL_ATTACHMENT);
        }
        DrawQuadrants(64, 48);
        const GLSnapshot before = GLSnapshot::Now();
        for (const Kind kind : AllKinds) {
            for (const auto& [maxWidth, maxHeight] : {std::pair{-1, 8}, {8, -1}, {-Huge - 1, 0}}) {
                const CallCounter calls;
                EXPECT_EQ(Thumbnail(kind, maxWidth, maxHeight), 1U);
                EXPECT_EQ(calls.Count(), 0U);
            }
            // A side that truncates to 0, and sides beyond the driver's largest texture: no blit into either.
            for (const auto& [maxWidth, maxHeight] : {std::pair{1, 1}, {Huge, Huge}, {20000, 20000}}) {
                SCOPED_TRACE(std::to_string(maxWidth) + " x " + std::to_string(maxHeight));
                RemoveFiles();
                EXPECT_EQ(Thumbnail(kind, maxWidth, maxHeight), kind == Kind::Color ? 0U : 1U);
                if (kind == Kind::Color) {
                    EXPECT_EQ(Compare("shot.png", 64, 48, QuadrantsAs(Kind::Color)), "")
                        << "the full size instead";
                } else {
                    EXPECT_EQ(Files(), FileNames{});
                }
            }
            EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
        }
    }
}

TEST_F(ThumbnailTest, ADarkSrgbWindowStaysAsDark)
{
    for (const int alphaBits : {8, 0}) {
        const GLContext::Options options{
            .width = 64, .height = 48, .alphaBits = alphaBits, .samples = 4, .isSrgb = true};
        if (!GLContext::IsOffered(options)) {
            GTEST_SKIP() << "the driver has no such surface";
        }
        const GLContext context(options);
        if (!ReadsPixels()) {
            GTEST_SKIP() << "the driver does not read multisampled surfaces";
        }
        glClearColor(0.0012F, 0.0025F, 0.0045F, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
        for (const bool isThumbnail : {false, true}) {
            EXPECT_EQ(isThumbnail ? Thumbnail(Kind::Color, 16, 12) : TakeOne(Kind::Color), 0U);
            EXPECT_EQ(LoadImage(m_folder.File("shot.png")).At(8, 6), (Pixel{4, 8, 14, 255})) << alphaBits;
        }
    }
}

/// A component of the picture that the next test scales: smooth, different in both directions.
std::uint8_t Pattern(int x, int y, int component)
{
    return static_cast<std::uint8_t>(std::lround(127.0 + 60.0 * std::sin(x * 0.11 + component) +
                                                 60.0 * std::cos(y * 0.17 * (component + 1))));
}

TEST_F(ThumbnailTest, ScalesAsAReferenceDoes)
{
    const GLContext context({.width = 8, .height = 8});
    NewFramebuffer();
    std::vector<std::uint8_t> texels;
    for (int y = 0; y < SourceHeight; ++y) {
        for (int x = 0; x < SourceWidth; ++x) {
            for (int component = 0; component < 4; ++component) {
                texels.push_back(Pattern(x, y, component));
            }
        }
    }
    Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, SourceWidth, SourceHeight, GL_RGBA, GL_UNSIGNED_BYTE,
                    texels.data());

    // Eight bits of a driver's filter weights and its rounding.
    constexpr double Tolerance = 2.0;
    for (const auto& [width, height] : {std::pair{32, 24}, {48, 36}, {20, 15}, {128, 96}}) {
        ASSERT_EQ(Thumbnail(Kind::Color, width, height), 0U);
        const Image image = LoadImage(m_folder.File("shot.png"));
        ASSERT_EQ(image.width, width);
        double worst = 0.0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const double u = (x + 0.5) * SourceWidth / width - 0.5;
                const double v = (y + 0.5) * SourceHeight / height - 0.5;
                const auto texel = [](double a, double b, int component) {
                    return static_cast<double>(Pattern(std::clamp(static_cast<int>(a), 0, SourceWidth - 1),
                                                       std::clamp(static_cast<int>(b), 0, SourceHeight - 1),
                                                       component));
                };
                const double left = std::floor(u);
                const double low = std::floor(v);
                for (int component = 0; component < 4; ++component) {
                    const double bottom =
                        std::lerp(texel(left, low, component), texel(left + 1, low, component), u - left);
                    const double top = std::lerp(texel(left, low + 1, component),
                                                 texel(left + 1, low + 1, component), u - left);
                    const double is = image.At(x, height - 1 - y).at(static_cast<std::size_t>(component));
                    worst = std::max(worst, std::abs(std::lerp(bottom, top, v - low) - is));
                }
            }
        }
        EXPECT_LE(worst, Tolerance) << width;
    }
}

TEST_F(ThumbnailTest, OddSources)
{
    struct Row
    {
        const char* name;
        std::function<void()> attach;
        std::array<std::uint32_t, 3> statuses; ///< colour, depth, stencil
    };
    const auto texture = [](GLenum format, GLenum point, Extent size) {
        return [=] { Texture2D(format, 0, size).attach(point); };
    };
    const auto undefined = [](GLenum point) {
        return [=] {
            glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_2D, NewTexture(GL_TEXTURE_2D), 0);
        };
    };
    const auto undefinedFace = [] {
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_CUBE_MAP_POSITIVE_X,
                               NewTexture(GL_TEXTURE_CUBE_MAP), 0);
    };
    const auto deleted = [] {
        Texture2D(GL_RGBA8, 0).attach(GL_COLOR_ATTACHMENT0);
        DeleteWhatIsBound();
    };
    const std::vector<Row> rows{
        {"nothing attached", [] {}, {3, 4, 4}},
        {"a cube map without storage", undefinedFace, {3, 4, 4}},
        {"a name deleted elsewhere", deleted, {3, 4, 4}},
        {"integers", texture(GL_RGBA8UI, GL_COLOR_ATTACHMENT0, {8, 8}), {1, 4, 4}},
        {"a texture without storage", undefined(GL_COLOR_ATTACHMENT0), {3, 4, 4}},
        {"depth without storage", undefined(GL_DEPTH_ATTACHMENT), {3, 4, 4}},
        {"1 x 1", texture(GL_RGBA8, GL_COLOR_ATTACHMENT0, {1, 1}), {0, 4, 4}},
        {"1 x 4096", texture(GL_RGBA8, GL_COLOR_ATTACHMENT0, {1, 4096}), {0, 4, 4}},
        {"4096 x 1 of depth", texture(GL_DEPTH_COMPONENT16, GL_DEPTH_ATTACHMENT, {4096, 1}), {3, 1, 4}},
        {"a strip of floats", texture(GL_RGBA16F, GL_COLOR_ATTACHMENT0, {1024, 2}), {0, 4, 4}},
        {"attachment 1 alone", texture(GL_RGBA8, GL_COLOR_ATTACHMENT1, {8, 8}), {3, 4, 4}},
    };
    const GLContext context({.width = 8, .height = 8});
    for (const Row& row : rows) {
        NewFramebuffer();
        row.attach();
        const GLSnapshot before = GLSnapshot::Now();
        for (const Kind kind : AllKinds) {
            SCOPED_TRACE(std::string(row.name) + ", kind " + std::to_string(static_cast<int>(kind)));
            RemoveFiles();
            const std::uint32_t status = row.statuses.at(static_cast<std::size_t>(kind));
            EXPECT_EQ(Thumbnail(kind, 64, 64), status);
            EXPECT_EQ(Files().size(), status == 0 ? 1U : 0U);
            EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
        }
    }
}

TEST_F(ThumbnailTest, ABlitThatFailsGivesTheFullSize)
{
    for (const int failing : {0, 1}) {
        for (const int samples : {0, 4}) {
            SCOPED_TRACE("blit " + std::to_string(failing) + ", samples " + std::to_string(samples));
            RemoveFiles();
            const GLContext context({.width = 64, .height = 48, .samples = samples});
            if (!ReadsPixels()) {
                continue;
            }
            DrawQuadrants(64, 48);
            const GLSnapshot before = GLSnapshot::Now();
            int blits = 0;
            const ReplacedEntry blit(Util::GL::BlitFramebuffer, [&](auto... arguments) {
                if (blits++ == failing) {
                    glEnable(0xFFFF);
                } else {
                    glBlitFramebuffer(arguments...);
                }
            });
            const int needed = samples == 0 ? 1 : 2;
            EXPECT_EQ(Thumbnail(Kind::Color, 32, 24), 0U);
            EXPECT_EQ(blits, std::min(needed, failing + 1))
                << "the scaling is skipped after a failed resolve";
            const bool isFullSize = failing < needed;
            EXPECT_EQ(
                Compare("shot.png", isFullSize ? 64 : 32, isFullSize ? 48 : 24, QuadrantsAs(Kind::Color), 1),
                "");
            EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
        }
    }
}

/// Where the driver has no GL_OVR_multiview, a table reports views of what is one layer.
TEST_F(ThumbnailTest, AViewOfAMultiviewAttachment)
{
    const GLContext context({.width = 8, .height = 8, .debug = true});
    const bool hasViews = HasExtension("GL_OVR_multiview");
    for (const auto& [baseView, layer] : {std::pair{0, 0}, {2, 0}, {2, 3}}) {
        if (hasViews && layer != 0) {
            continue; // what is reported as the layer is the driver's choice
        }
        SCOPED_TRACE(std::to_string(baseView) + ", " + std::to_string(layer));
        NewFramebuffer();
        const int shown = layer > 0 ? layer : baseView;
        Layer(GL_TEXTURE_2D_ARRAY, GL_RGBA8, shown).attach(GL_COLOR_ATTACHMENT0);
        Layer(GL_TEXTURE_2D_ARRAY, GL_DEPTH24_STENCIL8, shown).attach(GL_DEPTH_STENCIL_ATTACHMENT);
        DrawQuadrants(SourceWidth, SourceHeight);
        AttachViews(GL_COLOR_ATTACHMENT0, baseView);
        AttachViews(GL_DEPTH_STENCIL_ATTACHMENT, baseView);
        const std::map<GLenum, GLint> views{{GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_NUM_VIEWS_OVR, 2},
                                            {GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_BASE_VIEW_INDEX_OVR, baseView},
                                            {GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LAYER, layer}};
        const ReplacedEntry query(Util::GL::GetFramebufferAttachmentParameteriv,
                                  [&](GLenum target, GLenum point, GLenum name, GLint* value) {
                                      if (const auto view = views.find(name);
                                          !hasViews && view != views.end()) {
                                          *value = view->second;
                                      } else {
                                          glGetFramebufferAttachmentParameteriv(target, point, name, value);
                                      }
                                  });
        FailOnMessages();
        const GLSnapshot before = GLSnapshot::Now();
        for (const Kind kind : AllKinds) {
            EXPECT_EQ(Thumbnail(kind, 32, 24), 0U);
            EXPECT_EQ(Compare("shot.png", 32, 24, QuadrantsAs(kind), kind == Kind::Color ? 1 : 0), "");
        }
        EXPECT_EQ(Thumbnail(Kind::Color, 1, 1), 0U) << "a box that no blit can fill";
        EXPECT_EQ(Compare("shot.png", SourceWidth, SourceHeight, QuadrantsAs(Kind::Color)), "");
        const WithheldEntry withheld("glFramebufferTextureLayer");
        EXPECT_EQ(Thumbnail(Kind::Color, 32, 24), 1U);
        EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
        glDisable(GL_DEBUG_OUTPUT);
    }
}

} // namespace
