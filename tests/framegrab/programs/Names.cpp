// What programs, or their libraries, export by chance or because they bring a library along: who calls these
// in place of its own ends the program. Some go by the names of C++, as the compiler makes them.

#include <cstdlib>

#define EXPORTED(name)                                                                                       \
    extern "C" void name()                                                                                   \
    {                                                                                                        \
        std::abort();                                                                                        \
    }

EXPORTED(png_create_write_struct)
EXPORTED(png_write_image)
EXPORTED(crc32)
EXPORTED(deflateInit2_)
EXPORTED(deflate)
EXPORTED(isal_deflate)
EXPORTED(LZ4_compress_default)
EXPORTED(FramegrabBeforeSwap)
EXPORTED(_ZN4Core3Log5PrintENS0_8LogLevelENS0_7LogZoneEiPKcbS4_z) // Core::Log::Print
EXPORTED(_ZN4Core8KHRLayer8GLESProcEv)                            // Core::KHRLayer::GLESProc
EXPORTED(_ZN8Playback19PlaybackEnvironment8InstanceEv)            // Playback::PlaybackEnvironment::Instance
EXPORTED(_ZN4Util10GetIntegerEji)                                 // Util::GetInteger
EXPORTED(_ZSt20__throw_length_errorPKc)                           // std::__throw_length_error

/// What the program itself calls.
extern "C" int Answer()
{
    return 1;
}
