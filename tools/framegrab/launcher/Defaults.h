#pragma once

#include <cstddef>

// What depends on the machine where the user says nothing. The other defaults stand where the settings do.

namespace Framegrab {

/// @return bytes of memory that framegrab can take, by its control groups and by the system
std::size_t AvailableMemory();

/// @return bytes of memory for pictures when the user says nothing: room for some tens of frames, and half of
///         what is available at most
std::size_t DefaultPictureMemory();

/// @return how many threads leave a processor to the program: one less than there are, and one at least
std::size_t DefaultThreads();

} // namespace Framegrab
