#include "support/GLContext.h"

#include <EGL/eglext.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

namespace {

[[noreturn]] void Fail(const std::string& what)
{
    char code[16];
    std::snprintf(code, sizeof(code), "0x%04X", static_cast<unsigned int>(eglGetError()));
    throw std::runtime_error(what + " failed: EGL error " + code);
}

/// The one display of the process, without a display server. It is never terminated: `eglTerminate` would end
/// the contexts of others too, and would unload the driver, after which a leak checker cannot tell whose an
/// allocation was.
EGLDisplay TheDisplay()
{
    static auto* const s_display = [] {
        auto* display = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr);
        if (display == EGL_NO_DISPLAY) { // another driver than Mesa
            display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
        }
        if (!eglInitialize(display, nullptr, nullptr)) {
            Fail("eglInitialize");
        }
        return display;
    }();
    return s_display;
}

/// `eglChooseConfig` takes its sizes as the least that will do and prefers the deepest colour.
///
/// @return null where the driver has no surface with these bits
EGLConfig FindConfig(EGLDisplay display, const GLContext::Options& options)
{
    const std::array wanted{
        std::pair{EGL_RED_SIZE, options.redBits},     std::pair{EGL_GREEN_SIZE, options.greenBits},
        std::pair{EGL_BLUE_SIZE, options.blueBits},   std::pair{EGL_ALPHA_SIZE, options.alphaBits},
        std::pair{EGL_DEPTH_SIZE, options.depthBits}, std::pair{EGL_STENCIL_SIZE, options.stencilBits},
        std::pair{EGL_SAMPLES, options.samples},
    };
    const EGLint componentType =
        options.isFloat ? EGL_COLOR_COMPONENT_TYPE_FLOAT_EXT : EGL_COLOR_COMPONENT_TYPE_FIXED_EXT;
    const EGLint kind[] = {EGL_SURFACE_TYPE,
                           EGL_PBUFFER_BIT,
                           EGL_RENDERABLE_TYPE,
                           EGL_OPENGL_ES3_BIT,
                           EGL_COLOR_COMPONENT_TYPE_EXT,
                           componentType,
                           EGL_NONE};
    EGLint count = 0;
    if (!eglChooseConfig(display, kind, nullptr, 0, &count)) {
        Fail("eglChooseConfig");
    }
    std::vector<EGLConfig> configs(static_cast<std::size_t>(count));
    if (!eglChooseConfig(display, kind, configs.data(), count, &count)) {
        Fail("eglChooseConfig");
    }
    const auto config = std::ranges::find_if(configs, [&](EGLConfig candidate) {
        return std::ranges::all_of(wanted, [&](const auto& attribute) {
            EGLint value = -1;
            return eglGetConfigAttrib(display, candidate, attribute.first, &value) &&
                   value == attribute.second;
        });
    });
    return config == configs.end() ? nullptr : *config;
}

EGLSurface MakeSurface(EGLDisplay display, EGLConfig config, const GLContext::Options& options)
{
    const EGLint attributes[] = {
        EGL_WIDTH,      options.width,     EGL_HEIGHT,
        options.height, EGL_GL_COLORSPACE, options.isSrgb ? EGL_GL_COLORSPACE_SRGB : EGL_GL_COLORSPACE_LINEAR,
        EGL_NONE};
    return config ? eglCreatePbufferSurface(display, config, attributes) : EGL_NO_SURFACE;
}

} // namespace

bool GLContext::IsOffered(const Options& options)
{
    auto* const surface = MakeSurface(TheDisplay(), FindConfig(TheDisplay(), options), options);
    return surface != EGL_NO_SURFACE && eglDestroySurface(TheDisplay(), surface);
}

GLContext::GLContext(const Options& options) : m_display(TheDisplay())
{
    auto* const config = FindConfig(m_display, options);
    m_surface = MakeSurface(m_display, config, options);
    if (m_surface == EGL_NO_SURFACE) {
        Fail("eglCreatePbufferSurface");
    }
    if (!eglBindAPI(EGL_OPENGL_ES_API)) {
        Fail("eglBindAPI");
    }
    const EGLint version[] = {EGL_CONTEXT_MAJOR_VERSION,
                              3,
                              EGL_CONTEXT_MINOR_VERSION,
                              1,
                              EGL_CONTEXT_OPENGL_DEBUG,
                              options.debug ? EGL_TRUE : EGL_FALSE,
                              EGL_NONE};
    m_context = eglCreateContext(m_display, config, EGL_NO_CONTEXT, version);
    if (m_context == EGL_NO_CONTEXT) {
        eglDestroySurface(m_display, m_surface);
        Fail("eglCreateContext");
    }
    if (!eglMakeCurrent(m_display, m_surface, m_surface, m_context)) {
        eglDestroyContext(m_display, m_context);
        eglDestroySurface(m_display, m_surface);
        Fail("eglMakeCurrent");
    }
}

GLContext::~GLContext()
{
    eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(m_display, m_context);
    eglDestroySurface(m_display, m_surface);
}

} // namespace TestSupport
