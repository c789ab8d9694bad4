// Stands in for the capture library: reads each frame into memory used before, and does nothing with it. What
// a program keeps of its frame rate then is the most that any capture can leave. Bytes come as
// B, G, R, A where the driver names that order as its own, which is how framegrab takes them.

#include "shared/CaptureInterface.h"

#include <GLES2/gl2ext.h>

#include <dlfcn.h>
#include <vector>

using namespace Framegrab;

extern "C" __attribute__((visibility("default"))) CaptureAnswer
FramegrabBeforeSwap(const CaptureContext* context, EGLDisplay display, EGLSurface surface)
{
    const auto find = [&]<typename Function>(Function& function, const char* library, const char* name) {
        function = reinterpret_cast<Function>(context->lookup(dlopen(library, RTLD_NOW), name));
    };
    static PFNEGLQUERYSURFACEPROC s_querySurface = nullptr;
    static PFNGLREADPIXELSPROC s_readPixels = nullptr;
    static PFNGLGETINTEGERVPROC s_getIntegerv = nullptr;
    static std::vector<unsigned char> s_pixels;
    if (!s_readPixels) {
        find(s_querySurface, "libEGL.so.1", "eglQuerySurface");
        find(s_readPixels, "libGLESv2.so.2", "glReadPixels");
        find(s_getIntegerv, "libGLESv2.so.2", "glGetIntegerv");
    }
    EGLint width = 0;
    EGLint height = 0;
    s_querySurface(display, surface, EGL_WIDTH, &width);
    s_querySurface(display, surface, EGL_HEIGHT, &height);
    s_pixels.resize(std::size_t{4} * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    GLint format = 0;
    GLint type = 0;
    s_getIntegerv(GL_IMPLEMENTATION_COLOR_READ_FORMAT, &format);
    s_getIntegerv(GL_IMPLEMENTATION_COLOR_READ_TYPE, &type);
    const bool isBGRA = format == GL_BGRA_EXT && type == GL_UNSIGNED_BYTE;
    s_readPixels(0, 0, width, height, isBGRA ? GL_BGRA_EXT : GL_RGBA, GL_UNSIGNED_BYTE, s_pixels.data());
    return {};
}
