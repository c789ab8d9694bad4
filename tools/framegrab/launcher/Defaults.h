#pragma once

#include <cstddef>

namespace Framegrab {

/// @return bytes of memory that framegrab can take, by its control groups and by the system
std::size_t AvailableMemory();

/// @return bytes of memory for pictures when the user says nothing: room for some tens of frames, and half of
///         what is available at most
std::size_t DefaultPictureMemory();

} // namespace Framegrab
