// Draws framebuffer objects of every kind of format, full of values that are hard to keep, and holds OpenEXR
// files against them, to the bit:
//
//     framegrab_formats             draws them and shows a frame
//     framegrab_formats FOLDER      reads the files, and prints the format of each that is right

#include "support/ColorRows.h"
#include "support/Exr.h"
#include "support/GLContext.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <numeric>

namespace {

using namespace TestSupport;
using Util::CapturedValues;

constexpr int DepthSide = 4096; // as many pixels as there are values of 24 bits

/// Leaves a framebuffer object as one that was drawn into.
void Draw()
{
    if (glGetError() == GL_NO_ERROR && glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE) {
        glClear(GL_COLOR_BUFFER_BIT); // nothing: the scissor box is empty
    }
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void DrawAll()
{
    const GLContext context({.width = 8, .height = 8});
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, 0, 0, 0);
    for (const ColorRow& row : ColorRows()) {
        AttachTexels(GL_COLOR_ATTACHMENT0, row.internalFormat, 1, 2, row.format, row.type, row.texels.data());
        Draw();
    }
    std::vector<std::uint32_t> depths(std::size_t{DepthSide} * DepthSide);
    for (std::size_t i = 0; i < depths.size(); ++i) {
        depths[i] = static_cast<std::uint32_t>(i << 8 | (i * 7 & 0xFF));
    }
    AttachTexels(GL_DEPTH_STENCIL_ATTACHMENT, GL_DEPTH24_STENCIL8, DepthSide, DepthSide, GL_DEPTH_STENCIL,
                 GL_UNSIGNED_INT_24_8, depths.data());
    Draw();
    eglSwapBuffers(eglGetCurrentDisplay(), context.Surface());
}

/// @return a component as the file has it: half a float, or a float or an integer of 32 bits
std::uint32_t InFile(const ColorRow& row, std::size_t pixel, std::size_t channel)
{
    const std::size_t place = pixel * 4 + channel;
    const auto number = [&]<typename Number>(Number, std::size_t at) {
        Number value;
        std::memcpy(&value, row.values.data() + at * sizeof(Number), sizeof(Number));
        return value;
    };
    const auto fraction = [](std::uint32_t n, std::uint32_t most) {
        return std::bit_cast<std::uint32_t>(static_cast<float>(static_cast<long double>(n) / most));
    };
    switch (row.valueType) {
    case CapturedValues::Unorm8:
        return fraction(row.values[place], 255);
    case CapturedValues::Unorm16:
        return fraction(number(std::uint16_t{}, place), 65535);
    case CapturedValues::Unorm10A2: {
        const std::uint32_t most = channel < 3 ? 1023 : 3;
        return fraction(number(std::uint32_t{}, pixel) >> (10 * channel) & most, most);
    }
    case CapturedValues::Float16:
        return number(std::uint16_t{}, place);
    default:
        return number(std::uint32_t{}, place);
    }
}

bool IsRight(const Exr& exr, const ColorRow& row)
{
    const std::string names = "RGBA";
    bool isRight =
        exr.Attribute("integers") == (row.valueType == CapturedValues::Int32 ? "two's complement" : "");
    for (std::size_t channel = 0; channel < names.size(); ++channel) {
        const bool isThere = exr.channels.find(names[channel]) != std::string::npos;
        isRight = isRight && isThere == (row.bits[channel] != 0);
        for (std::size_t pixel = 0; pixel < 2 && isRight && isThere; ++pixel) {
            isRight = row.valueType == CapturedValues::Float16
                          ? exr.Channel<std::uint16_t>(names[channel])[pixel] == InFile(row, pixel, channel)
                          : exr.Channel<std::uint32_t>(names[channel])[pixel] == InFile(row, pixel, channel);
        }
    }
    return isRight;
}

bool AreDepthsRight(const Exr& exr)
{
    const std::vector<float> depths = exr.Channel<float>('Z');
    std::size_t i = 0;
    return depths.size() == std::size_t{1} << 24 && std::ranges::all_of(depths, [&](float depth) {
               return depth == static_cast<float>(static_cast<long double>(i++) / 0xFFFFFF);
           });
}

bool AreStencilsRight(const Exr& exr)
{
    const auto stencils = exr.Channel<std::uint32_t>('S');
    std::size_t i = 0;
    return std::ranges::all_of(stencils, [&](std::uint32_t stencil) { return stencil == (i++ * 7 & 0xFF); });
}

bool IsRight(const Exr& exr, const std::string& format)
{
    const std::vector<ColorRow> rows = ColorRows();
    const auto row = std::ranges::find_if(rows, [&](const ColorRow& one) { return format == one.name; });
    return row != rows.end()     ? IsRight(exr, *row)
           : exr.channels == "Z" ? AreDepthsRight(exr)
                                 : exr.channels == "S" && AreStencilsRight(exr);
}

int Check(const std::string& folder)
{
    int status = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.ends_with(".exr") && name.find("target") != std::string::npos) {
            const Exr exr(entry.path().string());
            const std::string format = exr.Attribute("glInternalFormat");
            const bool isRight = IsRight(exr, format);
            std::printf("%s%s %s\n", isRight ? "" : "WRONG: ", format.c_str(), exr.channels.c_str());
            status = isRight ? status : 1;
        }
    }
    return status;
}

} // namespace

int main(int count, char** arguments)
{
    try {
        if (count > 1) {
            return Check(arguments[1]);
        }
        DrawAll();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "formats: %s\n", error.what());
        return 99;
    }
}
