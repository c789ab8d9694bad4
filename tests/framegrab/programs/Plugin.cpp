// The steps in a program that knows nothing of EGL: a plugin brings it along, for itself alone.

#include <cstdio>
#include <dlfcn.h>
#include <sys/mman.h>

int main(int argc, char** argv)
{
    // Nothing of EGL is to be found, whoever may export its names.
    if (dlsym(RTLD_DEFAULT, "eglSwapBuffers") || dlsym(dlopen(nullptr, RTLD_NOW), "eglSwapBuffers")) {
        std::fputs("there is an eglSwapBuffers\n", stderr);
        return 98;
    }
    // A look at the driver, which has another place when the plugin brings it once more.
    void* const driver = dlopen("libEGL.so.1", RTLD_NOW | RTLD_GLOBAL);
    using GetProcAddress = void* (*)(const char*);
    reinterpret_cast<GetProcAddress>(dlsym(RTLD_DEFAULT, "eglGetProcAddress"))("eglSwapBuffers");
    dlclose(driver);
    if (mmap(nullptr, 65536, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) == MAP_FAILED) {
        return 96;
    }
    void* const plugin = dlopen(STEPS_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 97;
    }
    const auto runSteps = reinterpret_cast<int (*)(int, char**)>(dlsym(plugin, "RunSteps"));
    return runSteps(argc - 1, argv + 1);
}
