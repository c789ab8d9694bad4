#include "support/DriverFaults.h"

#include "support/Scene.h"

#include <GLES3/gl32.h>
#include <GLES2/gl2ext.h>

#include <cmath>
#include <utility>

namespace TestSupport {

namespace {

/// Of the framebuffer bound for reading; one channel in each, as files of depth and stencil have it.
Pixel ReadPixel(Kind kind, int x, int y)
{
    Pixel pixel{};
    if (kind == Kind::Color) {
        glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
        return pixel;
    }
    GLuint depth = 0;
    if (kind == Kind::Depth) {
        glReadPixels(x, y, 1, 1, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, &depth);
        pixel[0] = static_cast<std::uint8_t>(std::lround(depth / 0x1p32 * 255.0));
    } else {
        glReadPixels(x, y, 1, 1, GL_STENCIL_INDEX_OES, GL_UNSIGNED_BYTE, pixel.data());
    }
    return {pixel[0], pixel[0], pixel[0], 255};
}

} // namespace

bool CopiesRight(Kind kind, int width, int height, const std::array<Pixel, 4>& expected, int divisor)
{
    const bool isColor = kind == Kind::Color;
    if (!isColor && !(HasExtension("GL_NV_read_depth") && HasExtension("GL_NV_read_stencil"))) {
        return true;
    }
    const int sourceWidth = width;
    const int sourceHeight = height;
    GLint source = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &source);
    GLuint framebuffer = 0;
    GLuint target = 0;
    glGenFramebuffers(1, &framebuffer);
    glGenRenderbuffers(1, &target);
    glBindRenderbuffer(GL_RENDERBUFFER, target);
    glRenderbufferStorage(GL_RENDERBUFFER, isColor ? GL_RGBA8 : GL_DEPTH24_STENCIL8, width, height);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(source));
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
    glFramebufferRenderbuffer(GL_DRAW_FRAMEBUFFER,
                              isColor ? GL_COLOR_ATTACHMENT0 : GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER,
                              target);

    width /= isColor ? divisor : 1;
    height /= isColor ? divisor : 1;
    constexpr std::array<GLbitfield, 3> Bits{GL_COLOR_BUFFER_BIT, GL_DEPTH_BUFFER_BIT, GL_STENCIL_BUFFER_BIT};
    glBlitFramebuffer(0, 0, sourceWidth, sourceHeight, 0, 0, width, height,
                      Bits.at(static_cast<std::size_t>(kind)), isColor ? GL_LINEAR : GL_NEAREST);
    bool isRight = true;
    if (glGetError() == GL_NO_ERROR) {
        glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
        for (const auto& [x, y] :
             {std::pair{0, 0}, {width - 1, 0}, {0, height - 1}, {width - 1, height - 1}}) {
            const std::size_t quadrant = (y >= height / 2 ? 2U : 0U) + (x >= width / 2 ? 1U : 0U);
            isRight = isRight && ReadPixel(kind, x, y) == expected.at(quadrant);
        }
    }
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(source));
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(1, &target);
    return isRight;
}

bool ReadsPixels()
{
    Pixel pixel{};
    glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
    return glGetError() == GL_NO_ERROR;
}

} // namespace TestSupport
