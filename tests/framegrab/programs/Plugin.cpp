// The steps in a program that knows nothing of EGL: a plugin brings it along, for itself alone.

#include <cstdio>
#include <dlfcn.h>

int main(int argc, char** argv)
{
    // Nothing of EGL is to be found, whoever may export its names.
    if (dlsym(RTLD_DEFAULT, "eglSwapBuffers") || dlsym(dlopen(nullptr, RTLD_NOW), "eglSwapBuffers")) {
        std::fputs("there is an eglSwapBuffers\n", stderr);
        return 98;
    }
    void* const plugin = dlopen(STEPS_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 97;
    }
    const auto runSteps = reinterpret_cast<int (*)(int, char**)>(dlsym(plugin, "RunSteps"));
    return runSteps(argc - 1, argv + 1);
}
