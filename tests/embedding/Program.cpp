// A host that writes a picture and compresses blocks. Fails where the library does, or calls another host.

#include "Core/Log.h"
#include "Util/CompressorLZ4.h"
#include "Util/CompressorLZ77.h"
#include "Util/GLScreenshotHandler.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <framegrab/version.h>
#include <string>

static_assert(FRAMEGRAB_VERSION_MAJOR == 1 && FRAMEGRAB_VERSION[0] == '1');

namespace {

bool Require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "failed: %s\n", what);
    }
    return condition;
}

bool WritesAPicture(const std::string& file)
{
    constexpr std::uint32_t rgba = 0x1908;
    constexpr std::uint32_t unsignedByte = 0x1401;
    constexpr std::uint32_t colorBuffer = 0x4000;
    const std::array<std::uint8_t, 16> pixels{1, 2, 3, 4};
    Util::GLScreenshotHandler handler(Util::ScreenshotWriter::FormatPNG);
    return Require(handler.WriteScreenshot(file, 2, 2, pixels.data(), rgba, unsignedByte) == 0, "encoding") &&
           Require(std::remove((file + ".png").c_str()) == 0, "the file") &&
           Require(handler.TakeScreenshot(file, colorBuffer) == 1, "nothing to capture without a context") &&
           Require(handler.WriteScreenshot("no/folder", 2, 2, pixels.data(), rgba, unsignedByte) != 0,
                   "a message");
}

bool Compresses(Util::Compressor& compressor)
{
    const std::array<std::uint8_t, 64> block{};
    std::uint8_t* packed = nullptr;
    std::uint32_t size = 0;
    return Require(compressor.Encode(block.data(), block.size(), &packed, &size) && size < block.size(),
                   "compression");
}

} // namespace

int main(int, char** arguments)
{
    Core::Log::m_level = Core::Log::LevelWarning;
    Util::LZ77Compressor lz77(Util::Compressor::QualityHigh, 64, 64);
    Util::LZ4Compressor lz4(Util::Compressor::QualityLow, 64);
    const bool works = WritesAPicture(arguments[0]) && Compresses(lz77) && Compresses(lz4);
    std::puts(works ? "works" : "fails");
    return works ? 0 : 1;
}
