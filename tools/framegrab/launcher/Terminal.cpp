#include "launcher/Terminal.h"

#include <algorithm>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Framegrab {

Terminal::Terminal(int file) : m_file(file), m_isTerminal(isatty(file) == 1) {}

void Terminal::WriteLine(std::string_view line)
{
    Write(Blank(m_shown).append(line).append("\n"));
    m_shown = 0;
}

void Terminal::ShowProgress(std::string_view text)
{
    if (!m_isTerminal || (text.empty() && m_shown == 0)) {
        return;
    }
    // A line that fills the last column may take the cursor to the next one, and could not be taken back.
    text = text.substr(0, Columns() - 1);
    Write(Blank(m_shown).append(text).append(text.empty() ? "" : "\r"));
    m_shown = text.size();
}

std::size_t Terminal::Columns() const
{
    constexpr std::size_t Usual = 80;
    winsize size{};
    return ioctl(m_file, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : Usual;
}

/// @return what blanks columns from the first on; the terminal may have become narrower since they were shown
std::string Terminal::Blank(std::size_t columns) const
{
    return columns == 0 ? "" : std::string(std::min(columns, Columns() - 1), ' ') + "\r";
}

void Terminal::Write(std::string_view text) const
{
    // Where the file is closed there is nobody to tell.
    [[maybe_unused]] const ssize_t ignored = write(m_file, text.data(), text.size());
}

} // namespace Framegrab
