// An EGL program that does what its arguments say, step by step. It shows the capture tool what packaged
// programs do not: see the table at the end of the file.

#define EGL_EGLEXT_PROTOTYPES
#include "support/Quadrants.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl31.h>
#include <GLES2/gl2ext.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern "C" __attribute__((visibility("default"))) int RunSteps(int count, char** steps);
extern "C" __attribute__((visibility("default"))) int Answer();

/// Calls the function of the same name in the library behind this one, which is linked to be there.
int Answer()
{
    const auto next = reinterpret_cast<int (*)()>(dlsym(RTLD_NEXT, "Answer"));
    return next ? next() + 1 : 0;
}

namespace {

constexpr int Width = 16;
constexpr int Height = 8;

PFNEGLSWAPBUFFERSPROC s_swapBuffers = &eglSwapBuffers;
PFNEGLSWAPBUFFERSWITHDAMAGEKHRPROC s_swapWithDamage = nullptr;
PFNGLBINDFRAMEBUFFERPROC s_bindFramebuffer = &glBindFramebuffer;
PFNGLCLEARPROC s_clear = &glClear;

EGLDisplay s_display = EGL_NO_DISPLAY;
thread_local EGLSurface t_surface = EGL_NO_SURFACE;

void Require(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(what);
    }
}

EGLSurface MakeSurface(EGLConfig config)
{
    const EGLint size[]{EGL_WIDTH, Width, EGL_HEIGHT, Height, EGL_NONE};
    return eglCreatePbufferSurface(s_display, config, size);
}

/// Makes a context current on an off-screen surface of its own; none other is needed to swap.
void MakeContext(const std::string& kind)
{
    if (s_display == EGL_NO_DISPLAY) {
        s_display = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        Require(eglInitialize(s_display, nullptr, nullptr), "eglInitialize");
    }
    const bool isGL = kind == "gl";
    eglBindAPI(isGL ? EGL_OPENGL_API : EGL_OPENGL_ES_API);
    const EGLint wanted[]{EGL_SURFACE_TYPE,
                          EGL_PBUFFER_BIT,
                          EGL_RENDERABLE_TYPE,
                          isGL ? EGL_OPENGL_BIT : EGL_OPENGL_ES2_BIT,
                          EGL_ALPHA_SIZE,
                          8,
                          EGL_DEPTH_SIZE,
                          24,
                          EGL_STENCIL_SIZE,
                          8,
                          EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    Require(eglChooseConfig(s_display, wanted, &config, 1, &count) && count == 1, "eglChooseConfig");
    const EGLint version[]{EGL_CONTEXT_MAJOR_VERSION, isGL || kind == "es2" ? 2 : 3, EGL_NONE};
    EGLContext context = eglCreateContext(s_display, config, EGL_NO_CONTEXT, version);
    t_surface = MakeSurface(config);
    Require(eglMakeCurrent(s_display, t_surface, t_surface, context), "eglMakeCurrent");
}

void Clear(const std::string& color)
{
    const unsigned long rgba = std::strtoul(color.c_str(), nullptr, 16);
    const auto channel = [&](unsigned shift) { return static_cast<float>(rgba >> shift & 0xFF) / 255.0F; };
    glClearColor(channel(24), channel(16), channel(8), channel(0));
    glClearDepthf(0.2F);
    glClearStencil(7);
    s_clear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
}

void Swap(const std::string& times)
{
    for (int i = times.empty() ? 1 : std::atoi(times.c_str()); i > 0; --i) {
        if (s_swapWithDamage) {
            const EGLint rectangle[]{0, 0, 1, 1};
            s_swapWithDamage(s_display, t_surface, rectangle, 1);
        } else {
            s_swapBuffers(s_display, t_surface);
        }
    }
}

template <typename Function>
Function Proc(const char* name)
{
    return reinterpret_cast<Function>(eglGetProcAddress(name));
}

template <typename Function>
Function Symbol(void* library, const char* name)
{
    return reinterpret_cast<Function>(dlsym(library, name));
}

/// Chooses how the swap function is found.
void FindSwap(const std::string& way)
{
    void* const library = dlopen("libEGL.so.1", RTLD_NOW | RTLD_LOCAL);
    if (way == "dlsym") {
        s_swapBuffers = Symbol<PFNEGLSWAPBUFFERSPROC>(library, "eglSwapBuffers");
    } else if (way == "default") {
        s_swapBuffers = Symbol<PFNEGLSWAPBUFFERSPROC>(RTLD_DEFAULT, "eglSwapBuffers");
    } else if (way == "program") {
        s_swapBuffers = Symbol<PFNEGLSWAPBUFFERSPROC>(dlopen(nullptr, RTLD_NOW), "eglSwapBuffers");
    } else if (way == "proc") {
        s_swapBuffers = Proc<PFNEGLSWAPBUFFERSPROC>("eglSwapBuffers");
    } else if (way == "proc-of-dlsym") {
        const auto getProcAddress = Symbol<PFNEGLGETPROCADDRESSPROC>(library, "eglGetProcAddress");
        s_swapBuffers = reinterpret_cast<PFNEGLSWAPBUFFERSPROC>(getProcAddress("eglSwapBuffers"));
    } else if (way == "damage-khr") {
        s_swapWithDamage = Proc<PFNEGLSWAPBUFFERSWITHDAMAGEKHRPROC>("eglSwapBuffersWithDamageKHR");
        Require(s_swapWithDamage, "eglSwapBuffersWithDamageKHR");
    } else if (way == "damage-ext") {
        s_swapWithDamage = Proc<PFNEGLSWAPBUFFERSWITHDAMAGEEXTPROC>("eglSwapBuffersWithDamageEXT");
        Require(s_swapWithDamage, "eglSwapBuffersWithDamageEXT");
    }
    Require(s_swapBuffers, "eglSwapBuffers");
}

/// Chooses how functions of GL are found.
void FindGL(const std::string& way)
{
    const auto find = [&](const char* name) {
        return way == "proc" ? reinterpret_cast<void*>(eglGetProcAddress(name))
                             : dlsym(dlopen("libGLESv2.so.2", RTLD_NOW), name);
    };
    s_bindFramebuffer = reinterpret_cast<PFNGLBINDFRAMEBUFFERPROC>(find("glBindFramebuffer"));
    s_clear = reinterpret_cast<PFNGLCLEARPROC>(find("glClear"));
    Require(s_bindFramebuffer && s_clear, "glBindFramebuffer");
}

// -- Framebuffer objects ------------------------------------------------------------------------------------

constexpr GLint TargetSize = 4;

/// A framebuffer object and what was attached to it at first.
struct Target
{
    GLuint framebuffer = 0;
    GLuint color = 0;        ///< texture of two levels
    GLuint depthStencil = 0; ///< renderbuffer
};

thread_local std::map<std::string, Target> t_targets; ///< of the thread's context, by number
thread_local Target t_target;                         ///< the one that is bound for drawing

GLuint MakeTexture(GLenum format)
{
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexStorage2D(GL_TEXTURE_2D, 2, format, TargetSize, TargetSize);
    return texture;
}

void Attach(GLenum point, GLuint texture, GLint level)
{
    glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_2D, texture, level);
}

/// Binds a framebuffer object of this number, which is made if it is new.
void BindTarget(const std::string& number)
{
    const bool isNew = number != "0" && !t_targets.contains(number);
    t_target = t_targets[number];
    if (isNew) {
        glGenFramebuffers(1, &t_target.framebuffer);
        t_target.color = MakeTexture(GL_RGBA8);
        glGenRenderbuffers(1, &t_target.depthStencil);
        glBindRenderbuffer(GL_RENDERBUFFER, t_target.depthStencil);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH24_STENCIL8, TargetSize, TargetSize);
        t_targets[number] = t_target;
    }
    s_bindFramebuffer(GL_FRAMEBUFFER, t_target.framebuffer);
    if (isNew) {
        Attach(GL_COLOR_ATTACHMENT0, t_target.color, 0);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER,
                                  t_target.depthStencil);
    }
}

void BindForReading(const std::string& number)
{
    s_bindFramebuffer(GL_READ_FRAMEBUFFER, t_targets[number].framebuffer);
}

/// Makes attachments what the text says.
void AttachTexture(const std::string& what)
{
    if (what == "third") {
        Attach(GL_COLOR_ATTACHMENT2, MakeTexture(GL_RGBA8), 0);
        const GLenum firstAndThird[]{GL_COLOR_ATTACHMENT0, GL_NONE, GL_COLOR_ATTACHMENT2};
        glDrawBuffers(3, firstAndThird);
        return;
    }
    Attach(GL_COLOR_ATTACHMENT0, what == "same" ? t_target.color : MakeTexture(GL_RGBA8), 0);
}

void Invalidate(const std::string& way)
{
    const GLenum color = GL_COLOR_ATTACHMENT0;
    if (way == "discard") {
        const auto discard = Proc<PFNGLDISCARDFRAMEBUFFEREXTPROC>("glDiscardFramebufferEXT");
        Require(discard, "glDiscardFramebufferEXT");
        discard(GL_FRAMEBUFFER, 1, &color);
    } else {
        glInvalidateFramebuffer(GL_FRAMEBUFFER, 1, &color);
    }
}

/// Draws a white triangle that covers everything.
void DrawTriangle(const std::string&)
{
    const GLuint program = glCreateProgram();
    for (const auto& [kind, source] :
         {std::pair<GLenum, const char*>(
              GL_VERTEX_SHADER, "#version 300 es\nvoid main() { gl_Position = vec4(gl_VertexID == 1 ? 3 : -1,"
                                " gl_VertexID == 2 ? 3 : -1, 0, 1); }"),
          {GL_FRAGMENT_SHADER, "#version 300 es\nout lowp vec4 color; void main() { color = vec4(1); }"}}) {
        const GLuint shader = glCreateShader(kind);
        glShaderSource(shader, 1, &source, nullptr);
        glCompileShader(shader);
        glAttachShader(program, shader);
    }
    glLinkProgram(program);
    glUseProgram(program);
    glViewport(0, 0, TargetSize, TargetSize);
    glDrawArrays(GL_TRIANGLES, 0, 3);
}

void PrintBindings(const std::string&)
{
    GLint draw = 0;
    GLint read = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &draw);
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read);
    GLint rowLength = 0;
    glGetIntegerv(GL_PACK_ROW_LENGTH, &rowLength);
    std::printf("draw %d read %d pack %d error %u\n", draw, read, rowLength, glGetError());
}

/// Lets threads swap at the same time, each a surface of its own and a colour of its own.
void SwapInThreads(const std::string& times)
{
    std::vector<std::thread> threads;
    for (const char* color : {"ff0000ff", "00ff00ff", "0000ffff"}) {
        threads.emplace_back([&times, color] {
            MakeContext("");
            for (int i = std::atoi(times.c_str()); i > 0; --i) {
                BindTarget("1");
                Clear(color);
                BindTarget("0");
                Clear(color);
                Swap("");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Ends a thread that swaps the way `pthread_cancel` does: in the next call that may wait, wherever it is.
void CancelThatSwaps(const std::string&)
{
    std::atomic<bool> isSwapping = false;
    std::thread thread([&isSwapping] {
        MakeContext("");
        for (;;) {
            Swap("");
            isSwapping = true;
            pthread_testcancel();
        }
    });
    while (!isSwapping) {
        std::this_thread::yield();
    }
    pthread_cancel(thread.native_handle());
    thread.join();
}

struct Step
{
    const char* name;
    void (*run)(const std::string& value);
};

/// "name" or "name:value"
const Step Steps[]{
    {"context", &MakeContext}, // of OpenGL ES 3; "es2" of OpenGL ES 2, "gl" of desktop GL
    {"find", &FindSwap},       // dlsym, default, program, proc, proc-of-dlsym, damage-khr, damage-ext
    {"find-gl", &FindGL},      // dlsym, proc
    {"clear", &Clear},         // RRGGBBAA
    {"triangle", &DrawTriangle},
    {"bind", &BindTarget}, // a number; 0 for the surface
    {"bind-read", &BindForReading},
    {"attach", &AttachTexture},  // the same or a new one, or a third one beside the first
    {"invalidate", &Invalidate}, // "discard" with the extension's call
    {"delete", [](const std::string&) { glDeleteFramebuffers(1, &t_target.framebuffer); }},
    {"pack", [](const std::string& length) { glPixelStorei(GL_PACK_ROW_LENGTH, std::atoi(length.c_str())); }},
    {"error", [](const std::string&) { glEnable(GL_NONE); }},
    {"quadrants", [](const std::string&) { TestSupport::DrawQuadrants(Width, Height); }},
    {"swap", &Swap},             // how many times
    {"threads", &SwapInThreads}, // how many times each
    {"cancel", &CancelThatSwaps},
    {"print-bindings", &PrintBindings},
    {"print", [](const std::string& text) { std::fputs(text.c_str(), stdout); }},
    {"print-answer", [](const std::string&) { std::printf("%d", Answer()); }},
    {"close-files", [](const std::string&) { closefrom(3); }},
    {"fork", // the child goes on with the steps that follow, and so does the parent, when the child has ended
     [](const std::string&) {
         if (const pid_t child = fork()) {
             waitpid(child, nullptr, 0);
         }
     }},
    {"chdir", [](const std::string& path) { Require(chdir(path.c_str()) == 0, "chdir"); }},
    {"read", [](const std::string&) { std::getchar(); }},
    {"pause", [](const std::string&) { pause(); }},
    {"signal", [](const std::string& number) { raise(std::atoi(number.c_str())); }},
    {"exit", [](const std::string& status) { std::exit(std::atoi(status.c_str())); }},
};

void RunStep(const std::string& text)
{
    const std::size_t nameEnd = std::min(text.find(':'), text.size());
    for (const Step& step : Steps) {
        if (text.compare(0, nameEnd, step.name) == 0) {
            step.run(nameEnd < text.size() ? text.substr(nameEnd + 1) : "");
            return;
        }
    }
    throw std::runtime_error("no step " + text);
}

} // namespace

int RunSteps(int count, char** steps)
{
    try {
        for (int i = 0; i < count; ++i) {
            RunStep(steps[i]);
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "steps: %s\n", error.what());
        return 99;
    }
}
