// Makes each hooked call with arguments that differ from each other, on a driver and a capture library that
// only write down what they are told.

#include "hooks/HookedFunctions.h"

#include "hooks/CaptureLibrary.h"
#include "hooks/Lookup.h"

#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Framegrab {

namespace {

using testing::ElementsAre;

std::vector<std::string> s_told;
void (*s_callInDriver)() = nullptr; ///< what the driver calls in turn
std::uintptr_t s_result = EGL_TRUE; ///< what it returns

template <typename Value>
std::string Text(Value value)
{
    if constexpr (std::is_pointer_v<Value>) {
        return " " + std::to_string(reinterpret_cast<std::uintptr_t>(value));
    } else {
        return " " + std::to_string(static_cast<std::uintptr_t>(value));
    }
}

template <typename Value>
Value FromNumber(std::uintptr_t number)
{
    if constexpr (std::is_pointer_v<Value>) {
        return reinterpret_cast<Value>(number);
    } else {
        return static_cast<Value>(number);
    }
}

struct Function
{
    std::string name;
    std::string told;             ///< what the driver is to be told: name and arguments
    void (*call)(void* function); ///< with the arguments 1, 2, 3 ...
    void* inDriver;
    void* exported; ///< null where programs cannot link it
};

template <auto Prototype, typename = decltype(Prototype)>
struct Typed;

template <auto Prototype, typename Result, typename... Arguments>
struct Typed<Prototype, Result (*)(Arguments...)>
{
    static inline std::string s_name;

    static Result InDriver(Arguments... arguments)
    {
        s_told.push_back((s_name + ... + Text(arguments)));
        if (s_callInDriver) {
            s_callInDriver();
        }
        return FromNumber<Result>(s_result);
    }

    static void Call(void* function)
    {
        const auto call = [function]<std::size_t... I>(std::index_sequence<I...>)
        {
            reinterpret_cast<Result (*)(Arguments...)>(function)(FromNumber<Arguments>(I + 1)...);
        };
        call(std::index_sequence_for<Arguments...>());
    }

    static Function Describe(const char* name, void* exported)
    {
        s_name = name;
        std::string told = name;
        for (std::size_t i = 1; i <= sizeof...(Arguments); ++i) {
            told += Text(i);
        }
        return {name, told, &Call, reinterpret_cast<void*>(&InDriver), exported};
    }
};

const std::vector<Function>& Functions()
{
#define EXPORTED(name, count, observer) Typed<&(name)>::Describe(#name, reinterpret_cast<void*>(&(name))),
#define LOOKED_UP(name, observer) Typed<&(name)>::Describe(#name, nullptr),
    // clang-format off
    static const std::vector<Function> s_functions{
        ERROR_FUNCTIONS(EXPORTED, LOOKED_UP)
        SURFACE_FUNCTIONS(EXPORTED, LOOKED_UP)
        SWAP_FUNCTIONS(EXPORTED, LOOKED_UP)
        TARGET_FUNCTIONS(EXPORTED, LOOKED_UP)};
    // clang-format on
    return s_functions;
}

const Function& Find(const std::string& name)
{
    return *std::find_if(Functions().begin(), Functions().end(),
                         [&](const Function& function) { return function.name == name; });
}

void CallHook(const std::string& name)
{
    const Function& function = Find(name);
    for (const auto rows : {ErrorFunctions(), SurfaceFunctions(), SwapFunctions(), TargetFunctions()}) {
        for (const HookedFunction& row : rows) {
            if (row.name == name) {
                errno = EDOM;
                function.call(row.hookFor(function.inDriver));
                EXPECT_EQ(errno, EDOM) << name;
            }
        }
    }
}

CaptureAnswer BeforeSwap(const CaptureContext*, EGLDisplay display, EGLSurface surface)
{
    s_told.push_back("before swap" + Text(display) + Text(surface));
    return {.tellWhenShown = true};
}

void AfterSwap()
{
    s_told.emplace_back("after swap");
    errno = EIO;
}

CaptureAnswer AfterWindowSurface(const CaptureContext*, EGLDisplay display, EGLSurface surface,
                                 std::uintptr_t window)
{
    s_told.push_back("made" + Text(display) + Text(surface) + Text(window));
    return {};
}

CaptureAnswer BeforeSurfaceIsDestroyed(const CaptureContext*, EGLDisplay display, EGLSurface surface)
{
    s_told.push_back("destroyed" + Text(display) + Text(surface));
    return {};
}

std::string Describe(const TargetEvent& event)
{
    return "event " + std::to_string(event.kind) + Text(event.target) + Text(event.attachment) +
           Text(event.objectType) + Text(event.object) + Text(event.level) + Text(event.cubeMapFace) +
           Text(event.layer) + Text(event.count) + Text(event.names) + Text(event.context);
}

CaptureAnswer CaptureTargetIfLeft(const CaptureContext*, const TargetEvent* event)
{
    s_told.push_back(Describe(*event));
    return {};
}

TEST(HookedFunctions, ReachTheDriverWithTheirArgumentsInOrder)
{
    for (const Function& function : Functions()) {
        s_told.clear();
        CallHook(function.name);
        EXPECT_THAT(s_told, testing::Contains(function.told));
        if (function.exported) {
            s_told.clear();
            function.call(function.exported);
            EXPECT_THAT(s_told, testing::Contains(function.told));
        }
    }
}

TEST(HookedFunctions, TellWhatBecomesOfATarget)
{
    struct
    {
        const char* function;
        TargetEvent event;
    } const rows[]{
        {"eglMakeCurrent", {.kind = TargetEvent::MakesCurrent, .context = FromNumber<EGLContext>(4)}},
        {"glBindFramebuffer", {.kind = TargetEvent::BindsFramebuffer, .target = 1, .object = 2}},
        {"glDeleteTextures",
         {.kind = TargetEvent::DeletesTextures, .count = 1, .names = FromNumber<const GLuint*>(2)}},
        {"glInvalidateSubFramebuffer", {.kind = TargetEvent::Invalidates, .target = 1}},
        {"glFramebufferRenderbuffer",
         {.kind = TargetEvent::Attaches,
          .target = 1,
          .attachment = 2,
          .objectType = GL_RENDERBUFFER,
          .object = 4}},
        {"glFramebufferTexture3DOES",
         {.kind = TargetEvent::Attaches, .target = 1, .attachment = 2, .object = 4, .level = 5}},
        {"glFramebufferTexture",
         {.kind = TargetEvent::Attaches, .target = 1, .attachment = 2, .object = 3, .level = 4}},
        {"glFramebufferTextureMultiviewOVR",
         {.kind = TargetEvent::Attaches, .target = 1, .attachment = 2, .object = 3, .level = 4, .layer = 5}},
    };
    CallHook("eglMakeCurrent");
    for (const auto& [function, event] : rows) {
        CallHook("glDrawArrays");
        s_told.clear();
        CallHook(function);
        EXPECT_THAT(s_told, ElementsAre(Describe(event), Find(function).told));
        s_told.clear();
        CallHook(function); // with nothing drawn since
        EXPECT_THAT(s_told, ElementsAre(Find(function).told));
    }
}

TEST(HookedFunctions, TellWhichWindowASurfaceIsMadeForAndThatOneIsDestroyed)
{
    s_told.clear();
    CallHook("eglCreateWindowSurface");
    CallHook("eglDestroySurface");
    EXPECT_THAT(s_told, ElementsAre("eglCreateWindowSurface 1 2 3 4", "made 1 1 3", "destroyed 1 2",
                                    "eglDestroySurface 1 2"));

    // A window of X is told by where its number is.
    const unsigned long x11 = 77;
    const std::uint32_t xcb = 88;
    struct
    {
        EGLenum platform;
        const void* window;
        std::uintptr_t told;
    } const rows[]{{EGL_PLATFORM_WAYLAND_KHR, &x11, reinterpret_cast<std::uintptr_t>(&x11)},
                   {EGL_PLATFORM_X11_KHR, &x11, 77},
                   {EGL_PLATFORM_XCB_EXT, &xcb, 88}};
    for (const auto& [platform, window, told] : rows) {
        s_result = platform; // so that each has a display of its own
        const EGLDisplay display = eglGetPlatformDisplay(platform, nullptr, nullptr);
        eglCreatePlatformWindowSurface(display, nullptr, const_cast<void*>(window), nullptr);
        EXPECT_EQ(s_told.back(), "made" + Text(display) + Text(s_result) + Text(told));
    }
    s_result = EGL_TRUE;
}

TEST(HookedFunctions, ObserveTheProgramsCallsButNotTheDriversOwn)
{
    s_told.clear();
    s_callInDriver = [] {
        s_callInDriver = nullptr;
        CallHook("eglSwapBuffers");
    };
    CallHook("eglSwapBuffersWithDamageKHR");
    EXPECT_THAT(s_told, ElementsAre("before swap 1 2", "eglSwapBuffersWithDamageKHR 1 2 3 4",
                                    "eglSwapBuffers 1 2", "after swap"));
}

} // namespace

// In place of the hooks' own.

const CaptureLibrary& OpenCaptureLibrary() noexcept
{
    static constexpr CaptureLibrary Library{&BeforeSwap, &AfterSwap, &AfterWindowSurface,
                                            &BeforeSurfaceIsDestroyed, &CaptureTargetIfLeft};
    return Library;
}

bool IsCaptureLibraryOpen() noexcept
{
    return true;
}

CaptureContext ContextOf(void* driverFunction) noexcept
{
    return {.session = "", .lookup = nullptr, .driverFunction = driverFunction};
}

void TakeIn(const CaptureAnswer&) noexcept
{
    errno = EIO;
}

void* FindDriverFunction(const char* name) noexcept
{
    return Find(name).inDriver;
}

void KeepLoaded(void*) noexcept {}

} // namespace Framegrab
