#include "Util/PixelRead.h"

#include "Util/GLState.h"

#include <algorithm>
#include <array>

namespace Util {

namespace {

/// A pixel that no application is likely to draw, of any size that a pixel has.
constexpr std::array<std::uint8_t, 16> Mark{0x9D, 0x37, 0xE5, 0x6B, 0x9D, 0x37, 0xE5, 0x6B,
                                            0x9D, 0x37, 0xE5, 0x6B, 0x9D, 0x37, 0xE5, 0x6B};

} // namespace

GLenum ReadPixels(Size size, GLenum format, GLenum type, std::span<std::uint8_t> memory, std::size_t pitch,
                  bool isZero)
{
    const auto read = [&] {
        GL::ReadPixels(0, 0, size.width, size.height, format, type, memory.data());
        return TakeError();
    };
    const auto clear = [memory] { std::ranges::fill(memory, std::uint8_t{0}); };
    // GL raises no error for pixels outside of the source and leaves them as they are. The last one is
    // outside whenever any is.
    const auto last = memory.last(pitch);
    const bool isMarked = !isZero && CanReportErrors();
    if (isMarked) {
        std::copy_n(Mark.begin(), pitch, last.begin());
    } else if (!isZero) {
        clear();
    }
    GLenum error = read();
    if (error == GL_NO_ERROR && isMarked && std::equal(last.begin(), last.end(), Mark.begin())) {
        clear();
        error = read();
    }
    if (error != GL_NO_ERROR) {
        clear(); // of what was read until then
    }
    return error;
}

bool IsOwnOrderBGRA()
{
    if (!CanReportErrors()) {
        return false; // the query is an error where nothing can be read
    }
    const bool isBGRA = GetInteger(GL_IMPLEMENTATION_COLOR_READ_FORMAT) == GL_BGRA_EXT &&
                        GetInteger(GL_IMPLEMENTATION_COLOR_READ_TYPE) == GL_UNSIGNED_BYTE;
    return TakeError() == GL_NO_ERROR && isBGRA;
}

} // namespace Util
