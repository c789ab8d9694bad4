// The steps in a program that links EGL.

extern "C" int RunSteps(int count, char** steps);

int main(int argc, char** argv)
{
    return RunSteps(argc - 1, argv + 1);
}
