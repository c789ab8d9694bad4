#pragma once

// What the examples take pictures of.

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl3.h>

#include <array>

/// Makes a context current that renders into a surface of 320 x 200 pixels, without a display.
inline bool MakeContextCurrent()
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
inline void Render()
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
