// A host in a page: renders a frame of its own without a display and lets the library take its picture.
//
//     Screenshot NAME        writes NAME.png, NAME_depth.png, NAME_stencil.png and NAME_small.png
//
// A host brings the declarations of host/include to life; here the host runtime does.

#include "RenderedFrame.h"
#include "Util/GLScreenshotHandler.h"

#include <cstdio>
#include <initializer_list>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 2 || !MakeContextCurrent()) {
        std::fprintf(stderr, argc != 2 ? "usage: Screenshot NAME\n" : "no OpenGL ES 3 context\n");
        return 2;
    }
    Render();

    const std::string name = argv[1];
    Util::GLScreenshotHandler handler(Util::ScreenshotWriter::FormatPNG);
    for (const auto buffer :
         std::initializer_list<GLbitfield>{GL_COLOR_BUFFER_BIT, GL_DEPTH_BUFFER_BIT, GL_STENCIL_BUFFER_BIT}) {
        if (const auto status = handler.TakeScreenshot(name, buffer); status != 0) {
            std::fprintf(stderr, "no picture of buffer 0x%X: status %u\n", buffer, status);
            return 1;
        }
    }
    return handler.TakeScreenshotThumbnail(name + "_small", 64, 64) == 0 ? 0 : 1;
}
