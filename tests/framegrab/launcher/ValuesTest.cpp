// Values of a buffer, as pictures and as OpenEXR files.

#include "launcher/Values.h"

#include "launcher/ExrFile.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <memory>
#include <numeric>
#include <tinyexr.h>

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

/// A file as a decoder sees it that has nothing in common with what wrote it.
struct Exr
{
    explicit Exr(const std::string& path)
    {
        EXRVersion version;
        const char* error = nullptr;
        InitEXRHeader(&header);
        InitEXRImage(&image);
        EXPECT_EQ(ParseEXRVersionFromFile(&version, path.c_str()), TINYEXR_SUCCESS);
        EXPECT_EQ(ParseEXRHeaderFromFile(&header, &version, path.c_str(), &error), TINYEXR_SUCCESS) << error;
        EXPECT_EQ(LoadEXRImageFromFile(&image, &header, path.c_str(), &error), TINYEXR_SUCCESS) << error;
        for (int i = 0; i < header.num_channels; ++i) {
            channels += header.channels[i].name;
        }
    }
    Exr(const Exr&) = delete;
    Exr& operator=(const Exr&) = delete;
    ~Exr()
    {
        FreeEXRImage(&image);
        FreeEXRHeader(&header);
    }

    /// @return the bits of a channel, bottom row first
    template <typename Bits>
    [[nodiscard]] std::vector<Bits> Channel(char name) const
    {
        const auto* const rows = reinterpret_cast<const Bits*>(image.images[channels.find(name)]);
        std::vector<Bits> bits;
        for (int y = image.height; y-- > 0;) {
            bits.insert(bits.end(), rows + y * image.width, rows + (y + 1) * image.width);
        }
        return bits;
    }

    [[nodiscard]] std::string Attribute(const std::string& name) const
    {
        for (int i = 0; i < header.num_custom_attributes; ++i) {
            const EXRAttribute& attribute = header.custom_attributes[i];
            if (name == attribute.name) {
                return {reinterpret_cast<const char*>(attribute.value),
                        static_cast<std::size_t>(attribute.size)};
            }
        }
        return "";
    }

    EXRHeader header{};
    EXRImage image{};
    std::string channels; ///< their names; they are sorted
};

class ExrFileTest : public testing::Test
{
protected:
    template <typename Number>
    std::unique_ptr<Exr> Write(ValueType type, std::uint32_t channels, std::uint32_t width,
                               const std::vector<Number>& numbers)
    {
        std::string error;
        EXPECT_TRUE(WriteExrFile(path, picture, ValuesOf(type, channels, width, numbers), notes, error))
            << error;
        return std::make_unique<Exr>(path);
    }

    TestSupport::TemporaryFolder folder;
    std::string path = folder.File("values.exr");
    Picture picture;
    ExrNotes notes;
};

TEST_F(ExrFileTest, ValuesComeBackToTheBit)
{
    // Infinities, numbers that are none, with and without a sign, the smallest and the largest.
    const std::vector<std::uint16_t> halves{0,      0x8000, 0x0001, 0x7BFF, 0x7C00,
                                            0xFC00, 0x7E01, 0xFDFF, 0x3C00, 0x3555};
    auto exr = Write(ValueType::Half, 1, 2, halves);
    EXPECT_EQ(exr->header.pixel_types[0], TINYEXR_PIXELTYPE_HALF);
    EXPECT_EQ(exr->channels, "R");
    EXPECT_EQ(exr->Channel<std::uint16_t>('R'), halves);

    const std::vector<std::uint32_t> bits{0x7FC00001, 0xFFFFFFFF, 0x7F800000, 0xFF800000, 1, 0x80000000};
    for (const ValueType type : {ValueType::Float, ValueType::UInt32, ValueType::Int32}) {
        exr = Write(type, 2, 1, bits);
        EXPECT_EQ(exr->header.pixel_types[0],
                  type == ValueType::Float ? TINYEXR_PIXELTYPE_FLOAT : TINYEXR_PIXELTYPE_UINT);
        EXPECT_THAT(exr->Channel<std::uint32_t>('R'), ElementsAre(bits[0], bits[2], bits[4]));
        EXPECT_THAT(exr->Channel<std::uint32_t>('G'), ElementsAre(bits[1], bits[3], bits[5]));
        EXPECT_EQ(exr->Attribute("integers"), type == ValueType::Int32 ? "two's complement" : "");
    }
}

TEST_F(ExrFileTest, NormalizedValuesAreTheNearestFloats)
{
    std::vector<std::uint16_t> all(65536);
    std::iota(all.begin(), all.end(), 0);
    const std::vector<float> floats = Write(ValueType::Unorm16, 4, 128, all)->Channel<float>('B');
    for (std::size_t i = 0; i < floats.size(); ++i) {
        ASSERT_EQ(floats[i], static_cast<float>(static_cast<long double>(i * 4 + 2) / 65535)) << i;
    }
    const auto exr = Write<std::uint32_t>(ValueType::Unorm10A2, 4, 1, {1023U | 341U << 10 | 2U << 30});
    EXPECT_THAT(exr->channels, "ABGR");
    EXPECT_THAT(exr->Channel<float>('R'), ElementsAre(1));
    EXPECT_THAT(exr->Channel<float>('G'), ElementsAre(341 / 1023.0F));
    EXPECT_THAT(exr->Channel<float>('B'), ElementsAre(0));
    EXPECT_THAT(exr->Channel<float>('A'), ElementsAre(2 / 3.0F));
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
    EXPECT_EQ(depth->Attribute("glInternalFormat"), std::string("\xA6\x81\0\0", 4));
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
