#include "hooks/CaptureLibrary.h"

#include "hooks/ErrorHooks.h"
#include "hooks/Lookup.h"
#include "hooks/TargetHooks.h"
#include "shared/SessionRecords.h"

#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <pthread.h>

namespace Framegrab {

namespace {

char s_session[PATH_MAX]; ///< the session's folder; empty when the process is not part of one
CaptureLibrary s_library{};
std::atomic<bool> s_isOpen{false};

/// @return false when the path is too long
bool FindBesideThisLibrary(char (&path)[PATH_MAX])
{
    // Past the links that may have led here: it looks for its own libraries beside itself.
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&FindBesideThisLibrary), &self) == 0 ||
        !realpath(self.dli_fname, path)) {
        return false;
    }
    char* const name = std::strrchr(path, '/') + 1;
    const auto room = static_cast<std::size_t>(path + sizeof(path) - name);
    return static_cast<std::size_t>(std::snprintf(name, room, "%s", CaptureLibraryName)) < room;
}

void Open()
{
    char path[PATH_MAX];
    if (s_session[0] == '\0' || !FindBesideThisLibrary(path)) {
        return;
    }
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library) {
        char text[1024];
        std::snprintf(text, sizeof(text), "nothing can be captured: %s", dlerror());
        AppendRecord(s_session, RecordKind::FirstSwap);
        SayToUser(text);
        return;
    }
    const auto find = [&]<typename Function>(Function& function, const char* name) {
        function = reinterpret_cast<Function>(RealDlsym()(library, name));
    };
    find(s_library.beforeSwap, BeforeSwapName);
    find(s_library.afterSwap, AfterSwapName);
    find(s_library.afterWindowSurface, AfterWindowSurfaceName);
    find(s_library.beforeSurfaceIsDestroyed, BeforeSurfaceIsDestroyedName);
    find(s_library.captureTargetIfLeft, CaptureTargetIfLeftName);
    s_isOpen = true;
}

__attribute__((constructor)) void OnLoad()
{
    const char* const session = std::getenv(SessionVariable);
    const std::size_t size = session ? std::strlen(session) + 1 : 0;
    if (session && size <= sizeof(s_session)) {
        std::memcpy(s_session, session, size);
        AppendRecord(s_session, RecordKind::HooksLoaded);
    }
}

} // namespace

const CaptureLibrary& OpenCaptureLibrary() noexcept
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, &Open);
    return s_library;
}

bool IsCaptureLibraryOpen() noexcept
{
    return s_isOpen;
}

void SayToUser(const char* text) noexcept
{
    if (s_session[0] != '\0') {
        AppendRecord(s_session, RecordKind::Message, text);
    }
}

CaptureContext ContextOf(void* driverFunction) noexcept
{
    return {.session = s_session, .lookup = RealDlsym(), .driverFunction = driverFunction};
}

void TakeIn(const CaptureAnswer& answer) noexcept
{
    KeepError(answer.takenError);
    LearnWhetherTargetsAreWanted(answer);
}

} // namespace Framegrab
