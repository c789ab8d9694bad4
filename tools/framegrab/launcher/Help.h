#pragma once

#include <string>

/// Texts about framegrab, made of the table of its options and of one description.
namespace Framegrab {

/// @return what `-help` prints, for a terminal of 80 columns
std::string HelpText();

/// @return the page framegrab(1)
/// @see man(7)
std::string ManPage();

/// @return a script that bash sources to complete framegrab's options and their values
std::string BashCompletion();

} // namespace Framegrab
