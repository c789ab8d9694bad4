// Values of a buffer, as pictures and as OpenEXR files.

#include "launcher/Values.h"

#include "launcher/ExrFile.h"
#include "support/Exr.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <memory>
#include <numeric>

namespace Framegrab {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

template <typename Number>
Values ValuesOf(ValueType type, std::uint32_t channels, std::uint32_t width,
                const std::vector<Number>& numbers)
{
    Values values{.type = type, .channels = channels, .width = width, .height = 0, .data = nullptr};
    values.height = static_cast<std::uint32_t>(numbers.size() * sizeof(Number) / values.Pitch() / width);
    values.data = reinterpret_cast<const std::byte*>(numbers.data());
    return values;
}

constexpr float Nan = std::numeric_limits<float>::quiet_NaN();
constexpr float Infinity = std::numeric_limits<float>::infinity();

TEST(ValuesTest, DepthIsStretchedBetweenWhatIsNeitherZeroNorOne)
{
    const auto greys = [](const std::vector<float>& depths) {
        const Values values = ValuesOf(ValueType::Float, 1, 1, depths);
        std::vector<int> result;
        for (const Rgba& pixel : PaintDepth(values, FindDepthRange(values)).pixels) {
            EXPECT_EQ(pixel, (Rgba{pixel[0], pixel[0], pixel[0], 255}));
            result.push_back(pixel[0]);
        }
        return result;
    };
    EXPECT_THAT(greys({0.5F, 0, 0.55F, 0.75F, 1}), ElementsAre(0, 0, 51, 255, 255));
    EXPECT_THAT(greys({0.2F, 0.2F, 1}), ElementsAre(51, 51, 255));
    EXPECT_THAT(greys({0, 1}), ElementsAre(0, 255));
    EXPECT_THAT(greys({Nan, -Infinity, 2, 4, Infinity}), ElementsAre(0, 0, 0, 255, 255));
}

TEST(ValuesTest, TheLargestColorIsFound)
{
    EXPECT_EQ(FindLargest(ValuesOf<float>(ValueType::Float, 4, 1, {0, Nan, 2.5F, 9, -1, Infinity, 1, 9})),
              2.5F);
    EXPECT_EQ(FindLargest(ValuesOf<float>(ValueType::Float, 1, 1, {Nan})), std::nullopt);
    EXPECT_EQ(FindLargest(ValuesOf<std::uint16_t>(ValueType::Half, 1, 1, {0x3C00, 0x4200})), 3);
}

TEST(ValuesTest, EachIntegerHasItsColor)
{
    std::vector<std::uint8_t> stencil(256);
    std::iota(stencil.begin(), stencil.end(), 0);
    Legend legend;
    const Pixels picture = PaintIntegers(ValuesOf(ValueType::UInt8, 1, 16, stencil), legend);
    EXPECT_EQ(picture.pixels.front(), (Rgba{0, 0, 0, 255}));
    EXPECT_EQ(std::set(picture.pixels.begin(), picture.pixels.end()).size(), 256U);
    EXPECT_EQ(legend.size(), 256U);

    // The same object has the same color whatever the format; no other has it, nor black.
    const std::vector<std::uint32_t> names{7, 0, 0, 0, 0, 7, 0, 70000, 70001, 0};
    Legend ofNames;
    const Pixels named = PaintIntegers(ValuesOf(ValueType::UInt32, 2, 1, names), ofNames);
    EXPECT_EQ(named.pixels[0], picture.pixels[7]);
    EXPECT_EQ(named.pixels[1], picture.pixels[0]);
    EXPECT_EQ(std::set(named.pixels.begin(), named.pixels.end()).size(), 5U);
    EXPECT_THAT(ofNames, IsSupersetOf({Integers{7, 0}, Integers{0, 7}, Integers{70001, 0}}));
    Legend ofSigned;
    PaintIntegers(ValuesOf(ValueType::Int32, 1, 1, std::vector<std::int32_t>{-1, 0}), ofSigned);
    EXPECT_THAT(ofSigned, ElementsAre(Integers{-1}, Integers{}));
}

TEST(ValuesTest, FitsABox)
{
    const Rgba a{0, 0, 0, 255};
    const Rgba b{200, 100, 50, 255};
    const Pixels picture{.width = 4, .height = 2, .pixels = {a, b, a, a, b, a, a, a}};
    const Pixels mixed = FitInto(picture, 2, 9, true);
    EXPECT_THAT(mixed.pixels, ElementsAre(Rgba{100, 50, 25, 255}, a));
    EXPECT_THAT(FitInto(picture, 2, 1, false).pixels, ElementsAre(testing::AnyOf(a, b), a));
    const Pixels larger = FitInto(picture, 90, 4, true);
    EXPECT_EQ(larger.width, 8U);
    EXPECT_THAT(std::vector(larger.pixels.begin(), larger.pixels.begin() + 4), ElementsAre(a, a, b, b));
}

// -- OpenEXR ------------------------------------------------------------------------------------------------

class ExrFileTest : public testing::Test
{
protected:
    template <typename Number>
    std::unique_ptr<TestSupport::Exr> Write(ValueType type, std::uint32_t channels, std::uint32_t width,
                                            const std::vector<Number>& numbers)
    {
        std::string error;
        EXPECT_TRUE(WriteExrFile(path, picture, ValuesOf(type, channels, width, numbers), notes, error))
            << error;
        return std::make_unique<TestSupport::Exr>(path);
    }

    TestSupport::TemporaryFolder folder;
    std::string path = folder.File("values.exr");
    Picture picture;
    ExrNotes notes;
};

TEST_F(ExrFileTest, NormalizedValuesAreTheNearestFloats)
{
    std::vector<std::uint16_t> all(65536);
    std::iota(all.begin(), all.end(), 0);
    const std::vector<float> floats = Write(ValueType::Unorm16, 4, 128, all)->Channel<float>('B');
    for (std::size_t i = 0; i < floats.size(); ++i) {
        ASSERT_EQ(floats[i], static_cast<float>(static_cast<long double>(i * 4 + 2) / 65535)) << i;
    }
}

TEST_F(ExrFileTest, SaysWhereItsValuesAreFrom)
{
    picture.frame = 60;
    picture.target = 2;
    picture.buffer = Buffer::Depth;
    picture.internalFormat = GL_DEPTH_COMPONENT24;
    notes = {.program = "glmark2", .isSrgb = false, .isExact = false};
    const auto depth = Write<float>(ValueType::Float, 1, 1, {0.5F});
    EXPECT_EQ(depth->channels, "Z");
    EXPECT_EQ(depth->header.compression_type, TINYEXR_COMPRESSIONTYPE_ZIP);
    EXPECT_EQ(depth->Attribute("frame"), std::string("\x3C\0\0\0", 4));
    EXPECT_EQ(depth->Attribute("target"), std::string("\2\0\0\0", 4));
    EXPECT_EQ(depth->Attribute("glInternalFormat"), "GL_DEPTH_COMPONENT24");
    EXPECT_EQ(depth->Attribute("buffer"), "depth");
    EXPECT_EQ(depth->Attribute("program"), "glmark2");
    EXPECT_EQ(depth->Attribute("exact"), "no");
    EXPECT_EQ(depth->Attribute("encoding"), "");

    picture.buffer = Buffer::Stencil;
    notes.isSrgb = true;
    const auto stencil = Write<std::uint8_t>(ValueType::UInt8, 1, 3, {7, 0, 255});
    EXPECT_EQ(stencil->channels, "S");
    EXPECT_THAT(stencil->Channel<std::uint32_t>('S'), ElementsAre(7, 0, 255));
    EXPECT_EQ(stencil->Attribute("encoding"), "sRGB");
}

TEST_F(ExrFileTest, TellsWhyItCannotBeWritten)
{
    const std::vector<float> depths(10000);
    const Values values = ValuesOf(ValueType::Float, 1, 100, depths);
    std::string error;
    EXPECT_FALSE(WriteExrFile("/dev/full", picture, values, notes, error));
    EXPECT_THAT(error, HasSubstr("No space left on device"));
    EXPECT_FALSE(WriteExrFile("/no/such.exr", picture, values, notes, error));
    EXPECT_THAT(error, HasSubstr("No such file"));
}

} // namespace

} // namespace Framegrab
