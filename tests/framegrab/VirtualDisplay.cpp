#include "VirtualDisplay.h"

#include "ChildProcess.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace TestSupport {

namespace {

struct CloseDisplay
{
    void operator()(Display* display) const { XCloseDisplay(display); }
};

Window FindWindow(Display* display, Window parent, const std::string& title)
{
    char* name = nullptr;
    if (XFetchName(display, parent, &name) && name) {
        const bool isIt = title == name;
        XFree(name);
        if (isIt) {
            return parent;
        }
    }
    Window root = 0;
    Window itsParent = 0;
    Window* children = nullptr;
    unsigned int count = 0;
    Window found = 0;
    if (XQueryTree(display, parent, &root, &itsParent, &children, &count)) {
        for (unsigned int i = 0; i < count && found == 0; ++i) {
            found = FindWindow(display, children[i], title);
        }
        XFree(children);
    }
    return found;
}

std::uint8_t Channel(unsigned long pixel, unsigned long mask)
{
    return static_cast<std::uint8_t>((pixel & mask) / (mask & ~(mask - 1)));
}

} // namespace

void UseVirtualDisplay()
{
    static ChildProcess server(
        {"Xvfb", "-displayfd", "1", "-screen", "0", "1280x1024x24", "-noreset", "-nolisten", "tcp"});
    static const bool isReady = WaitFor([] { return server.Output().find('\n') != std::string::npos; });
    if (!isReady) {
        throw std::runtime_error("Xvfb does not start: " + server.Errors());
    }
    const std::string number = server.Output().substr(0, server.Output().find('\n'));
    setenv("DISPLAY", (":" + number).c_str(), 1);
}

Image PictureOfWindow(const std::string& title)
{
    const std::unique_ptr<Display, CloseDisplay> display(XOpenDisplay(nullptr));
    const Window window = display ? FindWindow(display.get(), DefaultRootWindow(display.get()), title) : 0;
    XWindowAttributes attributes{};
    Image picture;
    if (window == 0 || !XGetWindowAttributes(display.get(), window, &attributes) ||
        attributes.map_state != IsViewable) {
        return picture;
    }
    XImage* const image = XGetImage(display.get(), window, 0, 0, static_cast<unsigned int>(attributes.width),
                                    static_cast<unsigned int>(attributes.height), AllPlanes, ZPixmap);
    picture.width = image->width;
    picture.height = image->height;
    for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x) {
            const unsigned long pixel = XGetPixel(image, x, y);
            picture.pixels.push_back({Channel(pixel, image->red_mask), Channel(pixel, image->green_mask),
                                      Channel(pixel, image->blue_mask), 0});
        }
    }
    XDestroyImage(image);
    return picture;
}

} // namespace TestSupport
