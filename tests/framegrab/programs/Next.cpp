extern "C" __attribute__((visibility("default"))) int Answer();

int Answer()
{
    return 41;
}
