// Values read back without a loss: held against what was put there, to the bit.

#include "Util/GLValueReadback.h"

#include "support/CaptureFixture.h"
#include "support/ColorRows.h"
#include "support/DriverFaults.h"
#include "support/GLContext.h"
#include "support/Scene.h"
#include "support/TestDispatch.h"

#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <numeric>

namespace {

using namespace TestSupport;
using Util::CapturedValues;

/// Keeps the last values; lends memory with something in it.
class KeepingSink : public Util::ValueSink
{
public:
    std::uint32_t Take(const CapturedValues& taken) override
    {
        values = taken;
        names.push_back(taken.fileName);
        EXPECT_EQ(memory.size(), std::size_t{taken.width} * taken.height * taken.GetPixelSize());
        return 0;
    }

    std::uint8_t* Lend(std::size_t bytes) override
    {
        memory.assign(bytes, 0xAB);
        return memory.data();
    }

    template <typename Number>
    [[nodiscard]] std::vector<Number> As() const
    {
        std::vector<Number> numbers(memory.size() / sizeof(Number));
        std::memcpy(numbers.data(), memory.data(), memory.size());
        return numbers;
    }

    CapturedValues values;
    std::vector<std::string> names;
    Bytes memory;
};

/// How far a float is from n / most, as a multiple of 1 / most. Its mantissa and n have no more than 64 bits
/// together with those of `most`.
long double Distance(float value, std::uint64_t n, std::uint64_t most)
{
    return std::abs(static_cast<long double>(value) * static_cast<long double>(most) -
                    static_cast<long double>(n));
}

/// Whether no float is nearer to n / most.
bool IsNearest(float value, std::uint64_t n, std::uint64_t most)
{
    const auto digits = std::bit_cast<std::uint32_t>(value);
    const long double distance = Distance(value, n, most);
    return distance <= Distance(std::bit_cast<float>(digits + 1), n, most) &&
           (digits == 0 || distance <= Distance(std::bit_cast<float>(digits - 1), n, most));
}

using ValuesTest = CaptureFixture;

TEST_F(ValuesTest, ColoursComeAsTheBufferHasThem)
{
    const GLContext context({.width = 8, .height = 8});
    for (const ColorRow& row : ColorRows()) {
        SCOPED_TRACE(row.name);
        AttachTexels(GL_COLOR_ATTACHMENT0, row.internalFormat, 1, 2, row.format, row.type, row.texels.data());
        if (glGetError() != GL_NO_ERROR ||
            glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
            continue; // the driver has no such colours
        }
        const GLSnapshot before = GLSnapshot::Now();
        KeepingSink sink;
        EXPECT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_COLOR_ATTACHMENT0), 0U);
        EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
        EXPECT_EQ(sink.memory, row.values);
        EXPECT_EQ(sink.values.fileName, "shot_color0");
        EXPECT_EQ(sink.values.type, row.valueType);
        EXPECT_EQ(sink.values.bits, row.bits);
        EXPECT_EQ(sink.values.internalFormat, row.internalFormat);
        EXPECT_EQ(sink.values.isSrgb, row.internalFormat == GL_SRGB8_ALPHA8);
        EXPECT_EQ(sink.values.samples, 0U);
        EXPECT_TRUE(sink.values.isExact);
    }
    EXPECT_THAT(LogTexts(), testing::IsEmpty());
}

TEST_F(ValuesTest, EveryHalf)
{
    const GLContext context({.width = 8, .height = 8});
    std::vector<std::uint16_t> halves(65536);
    std::iota(halves.begin(), halves.end(), std::uint16_t{0});
    AttachTexels(GL_COLOR_ATTACHMENT0, GL_R16F, 256, 256, GL_RED, GL_HALF_FLOAT, halves.data());
    KeepingSink sink;
    ASSERT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_COLOR_ATTACHMENT0), 0U);
    const auto values = sink.As<std::uint16_t>();
    int wrong = 0;
    for (std::size_t i = 0; i < halves.size(); ++i) {
        // A driver that converts a NaN may make it a quiet one.
        const bool isNaN = (i & 0x7C00U) == 0x7C00U && (i & 0x3FFU) != 0;
        wrong += values[4 * i] != i && !(isNaN && values[4 * i] == (i | 0x200U));
    }
    EXPECT_EQ(wrong, 0);
}

/// Depth buffers that are full of different values.
struct DepthRow
{
    const char* name;
    GLenum point;
    GLenum internalFormat;
    GLenum format;
    GLenum type;
    int bits;
    int side;
};

TEST_F(ValuesTest, EveryFixedPointDepth)
{
    const std::vector<DepthRow> rows{
        {"16", GL_DEPTH_ATTACHMENT, GL_DEPTH_COMPONENT16, GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT, 16, 256},
        {"24", GL_DEPTH_ATTACHMENT, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, 24, 4096},
        {"24 with stencil", GL_DEPTH_STENCIL_ATTACHMENT, GL_DEPTH24_STENCIL8, GL_DEPTH_STENCIL,
         GL_UNSIGNED_INT_24_8, 24, 4096},
        {"32", GL_DEPTH_ATTACHMENT, GL_DEPTH_COMPONENT32_OES, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, 32, 1024},
    };
    const GLContext context({.width = 8, .height = 8});
    for (const DepthRow& row : rows) {
        SCOPED_TRACE(row.name);
        const auto count = static_cast<std::size_t>(row.side) * static_cast<std::size_t>(row.side);
        const auto most = (std::uint64_t{1} << row.bits) - 1;
        std::vector<std::uint32_t> depths(count);
        for (std::size_t i = 0; i < count; ++i) {
            depths[i] = static_cast<std::uint32_t>(count == most + 1 ? i : i * 4099 + (i << 31));
        }
        depths.back() = static_cast<std::uint32_t>(most);
        Bytes texels = BytesOf(depths);
        if (row.bits == 16) {
            texels = BytesOf(std::vector<std::uint16_t>(depths.begin(), depths.end()));
        } else if (row.bits == 24) {
            // With a stencil in the lower digits, or as a fraction of 32 bits, a little above: some drivers
            // round it, others cut it off.
            for (std::uint32_t& depth : depths) {
                const std::uint64_t n = depth;
                depth = static_cast<std::uint32_t>(
                    row.type == GL_UNSIGNED_INT_24_8 ? n << 8 | (n & 0xFF)
                                                     : std::min((n << 8 | n >> 16) + 1, std::uint64_t{~0U}));
            }
            texels = BytesOf(depths);
        }
        AttachTexels(row.point, row.internalFormat, row.side, row.side, row.format, row.type, texels.data());
        if (glGetError() != GL_NO_ERROR) {
            continue;
        }
        const bool canRead = HasExtension("GL_NV_read_depth");
        for (const bool isSampled : {false, true}) {
            if (isSampled && row.bits == 24) {
                continue; // as with 32
            }
            SCOPED_TRACE(isSampled ? "sampled" : "read");
            const ReplacedEntry extensions(Util::GL::GetString, [&](GLenum name) {
                return name == GL_EXTENSIONS && isSampled ? reinterpret_cast<const GLubyte*>("")
                                                          : glGetString(name);
            });
            KeepingSink sink;
            ASSERT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_DEPTH_ATTACHMENT), 0U);
            EXPECT_EQ(sink.values.fileName, "shot_depth");
            EXPECT_EQ(sink.values.bits[0], static_cast<std::uint32_t>(row.bits));
            EXPECT_EQ(sink.values.isExact, row.bits == 16 || (canRead && !isSampled));
            const auto values = sink.As<float>();
            std::size_t wrong = 0;
            for (std::size_t i = 0; i < count; ++i) {
                const std::uint64_t n = row.bits == 32 ? depths[i] : std::min<std::uint64_t>(i, most);
                wrong += sink.values.isExact ? !IsNearest(values[i], n, most)
                                             : Distance(values[i], n, most) >
                                                   3.0L * static_cast<long double>(most) / (1 << 24);
            }
            EXPECT_EQ(wrong, 0U) << "of " << count;
        }
    }
}

TEST_F(ValuesTest, FloatDepthAsItIsAloneAndWithStencil)
{
    const GLContext context({.width = 8, .height = 8});
    const std::vector<float> depths{0.0F, 1.0F, 0.1F, std::nextafter(1.0F, 0.0F), 1e-30F, 0.7F};
    AttachTexels(GL_DEPTH_ATTACHMENT, GL_DEPTH_COMPONENT32F, 3, 2, GL_DEPTH_COMPONENT, GL_FLOAT,
                 depths.data());
    KeepingSink sink;
    ASSERT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_DEPTH_ATTACHMENT), 0U);
    EXPECT_EQ(sink.As<float>(), depths);
    EXPECT_EQ(sink.values.type, CapturedValues::Float32);

    std::vector<std::uint32_t> packed;
    for (const float depth : depths) {
        packed.insert(packed.end(), {std::bit_cast<std::uint32_t>(depth),
                                     static_cast<std::uint32_t>(50 * (packed.size() % 5))});
    }
    AttachTexels(GL_DEPTH_STENCIL_ATTACHMENT, GL_DEPTH32F_STENCIL8, 3, 2, GL_DEPTH_STENCIL,
                 GL_FLOAT_32_UNSIGNED_INT_24_8_REV, packed.data());
    ASSERT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_DEPTH_ATTACHMENT), 0U);
    EXPECT_EQ(sink.As<float>(), depths);
    ASSERT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_STENCIL_ATTACHMENT), 0U);
    EXPECT_EQ(sink.As<std::uint8_t>(), (std::vector<std::uint8_t>{0, 100, 200, 50, 150, 0}));
}

TEST_F(ValuesTest, WindowSurfacesAndSamples)
{
    for (const int samples : {0, 4}) {
        const GLContext::Options options{.width = 64, .height = 48, .samples = samples};
        if (!GLContext::IsOffered(options)) {
            continue;
        }
        const GLContext context(options);
        for (const bool isWindow : {true, false}) {
            SCOPED_TRACE(std::to_string(samples) + (isWindow ? " samples, window" : " samples"));
            if (isWindow && !ReadsPixels()) {
                continue;
            }
            if (!isWindow) {
                NewFramebuffer();
                Renderbuffer(GL_RGBA8, samples).attach(GL_COLOR_ATTACHMENT0);
                Renderbuffer(GL_DEPTH24_STENCIL8, samples).attach(GL_DEPTH_STENCIL_ATTACHMENT);
            }
            DrawQuadrants(64, 48);
            MakeStateHostile();
            if (isWindow) {
                GLuint other = 0;
                glGenFramebuffers(1, &other);
                glBindFramebuffer(GL_READ_FRAMEBUFFER, other);
            }
            const GLSnapshot before = GLSnapshot::Now();
            for (const GLbitfield buffer :
                 std::array<GLbitfield, 3>{GL_COLOR_BUFFER_BIT, GL_DEPTH_BUFFER_BIT, GL_STENCIL_BUFFER_BIT}) {
                KeepingSink sink;
                const bool isColor = buffer == GL_COLOR_BUFFER_BIT;
                // The walk over colours ends with the point where nothing is attached.
                EXPECT_EQ(Util::ReadScreenshotValues(sink, "shot", buffer), isColor && !isWindow ? 1U : 0U);
                EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
                ASSERT_EQ(sink.names.size(), 1U);
                EXPECT_EQ(sink.values.samples, static_cast<std::uint32_t>(samples));
                EXPECT_EQ(sink.values.isExact, samples == 0 && (buffer != GL_DEPTH_BUFFER_BIT ||
                                                                HasExtension("GL_NV_read_depth")));
                for (std::size_t i = 0; i < 4; ++i) {
                    const std::size_t pixel = (i / 2 * 40 + 4) * 64 + i % 2 * 40 + 4;
                    if (isColor) {
                        Pixel color{};
                        std::memcpy(color.data(), &sink.memory.at(pixel * 4), 4);
                        EXPECT_EQ(color, QuadrantsAs(Kind::Color).at(i));
                    } else if (buffer == GL_DEPTH_BUFFER_BIT) {
                        EXPECT_NEAR(sink.As<float>().at(pixel), Quadrants.at(i).depth, 1e-7);
                    } else {
                        EXPECT_EQ(sink.memory.at(pixel), Quadrants.at(i).stencil);
                    }
                }
            }
            glEndTransformFeedback();
            glDisable(GL_RASTERIZER_DISCARD);
            glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
            glDepthMask(GL_TRUE);
            glStencilMask(~0U);
        }
    }
}

TEST_F(ValuesTest, MultisampledValuesAndLayersOfCubeMapArrays)
{
    const GLContext context({.width = 8, .height = 8});
    constexpr std::array<GLuint, 4> Color{1, 2, 3, 4000000000U};
    NewFramebuffer();
    Renderbuffer(GL_RGBA32UI, 4).attach(GL_COLOR_ATTACHMENT0);
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE) {
        glClearBufferuiv(GL_COLOR, 0, Color.data());
        KeepingSink sink;
        ASSERT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_COLOR_ATTACHMENT0), 0U);
        EXPECT_EQ(sink.As<std::uint32_t>().at(2), 3U);
        EXPECT_EQ(sink.As<std::uint32_t>().back(), 4000000000U);
        EXPECT_FALSE(sink.values.isExact);
    }
    glGetError();

    NewFramebuffer();
    Renderbuffer(GL_RGBA8_SNORM, 4).attach(GL_COLOR_ATTACHMENT0);
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE) {
        constexpr std::array<GLfloat, 4> Negative{-1.0F, 1.0F, -1.0F, 0.0F};
        glClearBufferfv(GL_COLOR, 0, Negative.data());
        KeepingSink sink;
        ASSERT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_COLOR_ATTACHMENT0), 0U);
        EXPECT_TRUE(std::equal(Negative.begin(), Negative.end(), sink.As<float>().begin()));
    }
    glGetError();

    NewFramebuffer();
    const GLuint texture = NewTexture(GL_TEXTURE_CUBE_MAP_ARRAY);
    glTexStorage3D(GL_TEXTURE_CUBE_MAP_ARRAY, 1, GL_RGBA16F, 16, 16, 12);
    glFramebufferTextureLayer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, texture, 0, 8);
    glClearColor(0.5F, 2.0F, -3.0F, 1.0F);
    glClear(GL_COLOR_BUFFER_BIT);
    const GLSnapshot before = GLSnapshot::Now();
    KeepingSink sink;
    ASSERT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_COLOR_ATTACHMENT0), 0U);
    EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
    EXPECT_EQ(sink.values.width, 16U);
    const auto values = sink.As<std::uint16_t>();
    EXPECT_THAT(std::vector(values.begin(), values.begin() + 4),
                testing::ElementsAre(0x3800, 0x4000, 0xC200, 0x3C00));
}

TEST_F(ValuesTest, WhatCannotBeReadIsRefused)
{
    const GLContext context({.width = 8, .height = 8});
    KeepingSink sink;
    NewFramebuffer();
    Renderbuffer(GL_RGBA8).attach(GL_COLOR_ATTACHMENT0);
    Renderbuffer(GL_DEPTH24_STENCIL8, 4).attach(GL_DEPTH_STENCIL_ATTACHMENT); // incomplete
    GLSnapshot before = GLSnapshot::Now();
    for (const GLenum point :
         std::array<GLenum, 3>{GL_COLOR_ATTACHMENT0, GL_DEPTH_ATTACHMENT, GL_STENCIL_ATTACHMENT}) {
        ClearLog();
        EXPECT_EQ(Util::ReadAttachmentValues(sink, "shot", point), 1U);
        EXPECT_GE(LogTexts().size(), 1U);
        EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
    }
    EXPECT_EQ(Util::ReadAttachmentValues(sink, "shot", GL_COLOR_ATTACHMENT1), 1U);
    EXPECT_EQ(Util::ReadScreenshotValues(sink, "shot", 0), 1U);

    // Any entry may be missing.
    NewFramebuffer();
    Texture2D(GL_RGBA8UI, 0).attach(GL_COLOR_ATTACHMENT0);
    Texture2D(GL_DEPTH24_STENCIL8, 0).attach(GL_DEPTH_STENCIL_ATTACHMENT);
    before = GLSnapshot::Now();
    for (const std::string& name : DispatchNames()) {
        const WithheldEntry withheld(name);
        for (const GLenum point :
             std::array<GLenum, 3>{GL_COLOR_ATTACHMENT0, GL_DEPTH_ATTACHMENT, GL_STENCIL_ATTACHMENT}) {
            EXPECT_LE(Util::ReadAttachmentValues(sink, "shot", point), 1U) << name;
        }
    }
    EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
}

} // namespace
