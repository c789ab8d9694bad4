// An EGL program that does what its arguments say, step by step. It shows the capture tool what packaged
// programs do not: see the table at the end of the file.

#define EGL_EGLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl3.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
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
    const bool isES2 = kind == "es2";
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
    const EGLint version[]{EGL_CONTEXT_MAJOR_VERSION, isGL || isES2 ? 2 : 3, EGL_NONE};
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
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
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

/// Draws green into a framebuffer object and leaves it bound, with another one for reading.
void BindFramebufferObjects(const std::string&)
{
    GLuint framebuffers[2];
    GLuint renderbuffer = 0;
    glGenFramebuffers(2, framebuffers);
    glGenRenderbuffers(1, &renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, 4, 4);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffers[1]);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffers[0]);
    glFramebufferRenderbuffer(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
    Clear("00ff00ff");
}

void PrintBindings(const std::string&)
{
    GLint draw = 0;
    GLint read = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &draw);
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read);
    std::printf("draw %d read %d error %u\n", draw, read, glGetError());
}

/// Lets threads swap at the same time, each a surface of its own and a colour of its own.
void SwapInThreads(const std::string& times)
{
    std::vector<std::thread> threads;
    for (const char* color : {"ff0000ff", "00ff00ff", "0000ffff"}) {
        threads.emplace_back([&times, color] {
            MakeContext("");
            for (int i = std::atoi(times.c_str()); i > 0; --i) {
                Clear(color);
                Swap("");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void SwapAnotherSurface(const std::string&)
{
    EGLConfig config = nullptr;
    EGLint count = 0;
    eglChooseConfig(s_display, nullptr, &config, 1, &count);
    s_swapBuffers(s_display, MakeSurface(config));
}

struct Step
{
    const char* name;
    void (*run)(const std::string& value);
};

/// "name" or "name:value"
const Step Steps[]{
    {"context", &MakeContext},   // of OpenGL ES 3; "es2" of OpenGL ES 2, "gl" of desktop GL
    {"find", &FindSwap},         // dlsym, default, program, proc, proc-of-dlsym, damage-khr, damage-ext
    {"clear", &Clear},           // RRGGBBAA
    {"swap", &Swap},             // how many times
    {"threads", &SwapInThreads}, // how many times each
    {"swap-other", &SwapAnotherSurface}, // one that is not current
    {"bind-framebuffers", &BindFramebufferObjects},
    {"print-bindings", &PrintBindings},
    {"release", [](const std::string&) { eglMakeCurrent(s_display, nullptr, nullptr, nullptr); }},
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
