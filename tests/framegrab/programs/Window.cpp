// A window of 64 x 32 whose user resizes it, to the width and height that the arguments say: a red frame, a
// green one that is drawn before the window is resized and shown after it, a blue one, and a white one with a
// new surface for the same window.

#include <EGL/egl.h>
#include <GLES3/gl3.h>
#include <X11/Xlib.h>

#include <cstdlib>

int main(int, char** arguments)
{
    Display* const x = XOpenDisplay(nullptr);
    const Window window = XCreateSimpleWindow(x, DefaultRootWindow(x), 0, 0, 64, 32, 0, 0, 0);
    XMapWindow(x, window);
    XSync(x, False);

    const EGLDisplay display = eglGetDisplay(reinterpret_cast<EGLNativeDisplayType>(x));
    eglInitialize(display, nullptr, nullptr);
    const EGLint wanted[]{EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT, EGL_DEPTH_SIZE, 24, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    eglChooseConfig(display, wanted, &config, 1, &count);
    const EGLint version[]{EGL_CONTEXT_MAJOR_VERSION, 3, EGL_NONE};
    const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
    const auto makeSurface = [&] {
        const auto native = static_cast<EGLNativeWindowType>(window);
        const EGLSurface surface = eglCreateWindowSurface(display, config, native, nullptr);
        eglMakeCurrent(display, surface, surface, context);
        return surface;
    };
    const auto clear = [](GLfloat red, GLfloat green, GLfloat blue) {
        glClearColor(red, green, blue, 1);
        glClearDepthf(0.2F);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glFinish();
    };

    EGLSurface surface = makeSurface();
    clear(1, 0, 0);
    eglSwapBuffers(display, surface);
    clear(0, 1, 0);
    XResizeWindow(x, window, static_cast<unsigned>(std::atoi(arguments[1])),
                  static_cast<unsigned>(std::atoi(arguments[2])));
    XSync(x, False);
    eglSwapBuffers(display, surface);
    clear(0, 0, 1);
    eglSwapBuffers(display, surface);
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroySurface(display, surface);
    surface = makeSurface();
    clear(1, 1, 1);
    eglSwapBuffers(display, surface);
}
