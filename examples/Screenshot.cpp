// A host in a page: renders a frame of its own without a display and lets the library take its picture.
//
//     Screenshot NAME        writes NAME.png, NAME_depth.png, NAME_stencil.png and NAME_small.png
//
// A host brings the declarations of host/include to life; here the host runtime does.

#include "Util/GLScreenshotHandler.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl3.h>

#include <array>
#include <cstdio>

namespace {

bool MakeContextCurrent()
{
    const auto display = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    constexpr std::array<EGLint, 15> Wanted{EGL_RED_SIZE,
                                            8,
                                            EGL_GREEN_SIZE,
                                            8,
                                            EGL_BLUE_SIZE,
                                            8,
                                            EGL_DEPTH_SIZE,
                                            24,
                                            EGL_STENCIL_SIZE,
                                            8,
                                            EGL_SURFACE_TYPE,
                                            EGL_PBUFFER_BIT,
                                            EGL_RENDERABLE_TYPE,
                                            EGL_OPENGL_ES3_BIT,
                                            EGL_NONE};
    constexpr std::array<EGLint, 5> Size{EGL_WIDTH, 320, EGL_HEIGHT, 200, EGL_NONE};
    constexpr std::array<EGLint, 3> Version{EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!eglInitialize(display, nullptr, nullptr) || !eglBindAPI(EGL_OPENGL_ES_API) ||
        !eglChooseConfig(display, Wanted.data(), &config, 1, &count) || count == 0) {
        return false;
    }
    const auto surface = eglCreatePbufferSurface(display, config, Size.data());
    const auto context = eglCreateContext(display, config, EGL_NO_CONTEXT, Version.data());
    return eglMakeCurrent(display, surface, surface, context) == EGL_TRUE;
}

/// Some rectangles, each nearer and of a higher stencil value than the one before.
void Render()
{
    glEnable(GL_SCISSOR_TEST);
    for (int i = 0; i < 8; ++i) {
        const float nearness = static_cast<float>(i) / 7.0F;
        glScissor(20 * i, 12 * i, 320 - 40 * i, 200 - 24 * i);
        glClearColor(nearness, 0.4F, 1.0F - nearness, 1.0F);
        glClearDepthf(1.0F - nearness);
        glClearStencil(36 * i);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    }
    glDisable(GL_SCISSOR_TEST);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 || !MakeContextCurrent()) {
        std::fprintf(stderr, argc != 2 ? "usage: Screenshot NAME\n" : "no OpenGL ES 3 context\n");
        return 2;
    }
    Render();

    const std::string name = argv[1];
    Util::GLScreenshotHandler handler(Util::ScreenshotWriter::FormatPNG);
    for (const auto buffer :
         std::initializer_list<GLbitfield>{GL_COLOR_BUFFER_BIT, GL_DEPTH_BUFFER_BIT, GL_STENCIL_BUFFER_BIT}) {
        if (const auto status = handler.TakeScreenshot(name, buffer); status != 0) {
            std::fprintf(stderr, "no picture of buffer 0x%X: status %u\n", buffer, status);
            return 1;
        }
    }
    return handler.TakeScreenshotThumbnail(name + "_small", 64, 64) == 0 ? 0 : 1;
}
