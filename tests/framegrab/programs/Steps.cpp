// An EGL program that shows the capture tool what packaged programs do not. Its arguments say what it does,
// step by step, each a name or a name and a value with a colon between:
//
//     framegrab_linked context clear:ff0000ff swap:2 exit:3
//
// makes a context and a surface, clears it in red, shows two frames and ends with the status 3. The steps:
//
//     context           makes a context of OpenGL ES 3 current, with an off-screen surface of its own;
//                       context:es2 one of OpenGL ES 2, context:gl one of desktop GL
//     size:N            makes the surfaces that are made from now on N pixels wide and high
//     target-size:N     the same for framebuffer objects
//     surface:N         makes the context's surface of this number current, a new one if there is none; the
//                       first is 1
//     read-from:N       makes that surface current for reading, beside the one for drawing
//     destroy:N         destroys that surface
//     find:WAY          how the functions that swap are found from now on: dlsym, default (dlsym with
//                       RTLD_DEFAULT), program (in the program itself), proc (eglGetProcAddress),
//                       proc-of-dlsym, damage-khr, damage-ext
//     find-gl:WAY       how glBindFramebuffer and glClear are found: dlsym, proc
//     clear:RRGGBBAA    clears all buffers: this colour, depth 0.2, stencil 7
//     quadrants         draws four of different colours, depths and stencil values
//     triangle          draws all of a framebuffer object white
//     swap, swap:N      shows one frame, or N
//     threads:N         lets eight threads, of the colours that have all or nothing of each component, show N
//                       frames each, with a framebuffer object in each, at the same time
//     cancel            cancels a thread that shows frames
//     bind:N            binds the framebuffer object of this number, a new one if there is none; 0 for the
//                       surface
//     bind-read:N       binds it for reading alone
//     attach:WHAT       attaches to it the same texture again, a new one, or a third one beside the first
//     invalidate        invalidates its colours; invalidate:discard with the extension's call
//     delete            deletes it
//     pack:N, error     sets GL_PACK_ROW_LENGTH; raises GL_INVALID_ENUM
//     print-bindings    prints state of GL that a capture might change
//     forbid-files      lets the system kill the process when it opens a file or a socket
//     print:TEXT, print-answer, read, pause, chdir:DIR, chroot:DIR, user:N, close-files, fork, signal:N,
//     exit:N
//                       what the C library's functions do; the child of a fork goes on with the steps that
//                       follow, and so does the parent when the child has ended

#define EGL_EGLEXT_PROTOTYPES
#include "support/Quadrants.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl31.h>
#include <GLES2/gl2ext.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
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

int s_width = 16;
int s_height = 8;
GLint s_targetSize = 4;

PFNEGLSWAPBUFFERSPROC s_swapBuffers = &eglSwapBuffers;
PFNEGLSWAPBUFFERSWITHDAMAGEKHRPROC s_swapWithDamage = nullptr;
PFNGLBINDFRAMEBUFFERPROC s_bindFramebuffer = &glBindFramebuffer;
PFNGLCLEARPROC s_clear = &glClear;

EGLDisplay s_display = EGL_NO_DISPLAY;
thread_local EGLConfig t_config = nullptr;
thread_local std::map<std::string, EGLSurface> t_surfaces; ///< of the thread's context, by number
thread_local EGLSurface t_surface = EGL_NO_SURFACE;        ///< the current one

void Require(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(what);
    }
}

/// Makes a surface current, an off-screen one; none other is needed to swap.
void MakeSurfaceCurrent(EGLContext context, const std::string& number)
{
    EGLSurface& surface = t_surfaces[number];
    if (!surface) {
        const EGLint size[]{EGL_WIDTH, s_width, EGL_HEIGHT, s_height, EGL_NONE};
        surface = eglCreatePbufferSurface(s_display, t_config, size);
    }
    t_surface = surface;
    Require(eglMakeCurrent(s_display, surface, surface, context), "eglMakeCurrent");
}

void ChooseSurface(const std::string& number)
{
    MakeSurfaceCurrent(eglGetCurrentContext(), number);
}

void DestroySurface(const std::string& number)
{
    eglDestroySurface(s_display, t_surfaces[number]);
    t_surfaces.erase(number);
}

/// Makes a context current on a surface of its own.
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
    EGLint count = 0;
    Require(eglChooseConfig(s_display, wanted, &t_config, 1, &count) && count == 1, "eglChooseConfig");
    const EGLint version[]{EGL_CONTEXT_MAJOR_VERSION, isGL || kind == "es2" ? 2 : 3, EGL_NONE};
    t_surfaces.clear();
    MakeSurfaceCurrent(eglCreateContext(s_display, t_config, EGL_NO_CONTEXT, version), "1");
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
    glTexStorage2D(GL_TEXTURE_2D, 2, format, s_targetSize, s_targetSize);
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
        glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH24_STENCIL8, s_targetSize, s_targetSize);
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
    glViewport(0, 0, s_targetSize, s_targetSize);
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
    for (const char* color :
         {"000000ff", "0000ffff", "00ff00ff", "00ffffff", "ff0000ff", "ff00ffff", "ffff00ff", "ffffffff"}) {
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

/// Seen in programs that draw what they do not trust.
void ForbidFiles(const std::string&)
{
    std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const auto call :
         {SYS_openat, SYS_socket, SYS_connect, SYS_memfd_create, SYS_fcntl, SYS_ftruncate}) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    Require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0,
            "seccomp");
}

struct Step
{
    const char* name;
    void (*run)(const std::string& value);
};

const Step Steps[]{
    {"context", &MakeContext},
    {"size", [](const std::string& side) { s_width = s_height = std::atoi(side.c_str()); }},
    {"target-size", [](const std::string& side) { s_targetSize = std::atoi(side.c_str()); }},
    {"surface", &ChooseSurface},
    {"read-from",
     [](const std::string& number) {
         eglMakeCurrent(s_display, t_surface, t_surfaces[number], eglGetCurrentContext());
     }},
    {"destroy", &DestroySurface},
    {"find", &FindSwap},
    {"find-gl", &FindGL},
    {"clear", &Clear},
    {"triangle", &DrawTriangle},
    {"bind", &BindTarget},
    {"bind-read", &BindForReading},
    {"attach", &AttachTexture},
    {"invalidate", &Invalidate},
    {"delete", [](const std::string&) { glDeleteFramebuffers(1, &t_target.framebuffer); }},
    {"pack", [](const std::string& length) { glPixelStorei(GL_PACK_ROW_LENGTH, std::atoi(length.c_str())); }},
    {"error", [](const std::string&) { glEnable(GL_NONE); }},
    {"quadrants", [](const std::string&) { TestSupport::DrawQuadrants(s_width, s_height); }},
    {"swap", &Swap},
    {"threads", &SwapInThreads},
    {"cancel", &CancelThatSwaps},
    {"print-bindings", &PrintBindings},
    {"print", [](const std::string& text) { std::fputs(text.c_str(), stdout); }},
    {"print-answer", [](const std::string&) { std::printf("%d", Answer()); }},
    {"close-files", [](const std::string&) { closefrom(3); }},
    {"fork",
     [](const std::string&) {
         if (const pid_t child = fork()) {
             waitpid(child, nullptr, 0);
         }
     }},
    {"chdir", [](const std::string& path) { Require(chdir(path.c_str()) == 0, "chdir"); }},
    {"chroot", [](const std::string& path) { Require(chroot(path.c_str()) == 0, "chroot"); }},
    {"user",
     [](const std::string& id) {
         Require(setuid(static_cast<uid_t>(std::atoi(id.c_str()))) == 0, "setuid");
     }},
    {"forbid-files", &ForbidFiles},
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
