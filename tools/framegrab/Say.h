#pragma once

#include <string>

namespace Framegrab {

/// Prints "framegrab: ", the text and a line end on standard error, in one write: the program under framegrab
/// may be writing there as well.
void Say(const std::string& text);

} // namespace Framegrab
