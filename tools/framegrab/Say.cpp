#include "Say.h"

#include <unistd.h>

namespace Framegrab {

void Say(const std::string& text)
{
    const std::string line = "framegrab: " + text + "\n";
    // Where standard error is closed there is nobody to tell.
    [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
}

} // namespace Framegrab
