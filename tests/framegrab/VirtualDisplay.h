#pragma once

#include "support/Image.h"

#include <string>

namespace TestSupport {

/// The X server that the tests share: started for the first of them that needs one, ended with the test
/// process.
///
/// Sets `DISPLAY` for this process and those that it starts.
void UseVirtualDisplay();

/// What the X server shows of a window.
///
/// @param title  the window's name
/// @return an image without an alpha of its own (0 everywhere); of width 0 when there is no such window
Image PictureOfWindow(const std::string& title);

} // namespace TestSupport
