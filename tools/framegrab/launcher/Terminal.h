#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Framegrab {

/// A file that text is written to, on which a line of progress stands below the other lines if it is a
/// terminal.
class Terminal
{
public:
    /// @param file  descriptor, which stays the caller's
    explicit Terminal(int file);

    /// Writes a line in place of the progress, in one write: others may be writing there as well.
    void WriteLine(std::string_view line);

    /// Shows progress where the next output overwrites it; of a text that does not fit the terminal, the
    /// beginning. Nothing where the file is no terminal.
    ///
    /// @param text  of one byte a column, in place of what was shown before; empty to show nothing any more
    void ShowProgress(std::string_view text);

private:
    [[nodiscard]] std::size_t Columns() const;
    [[nodiscard]] std::string Blank(std::size_t columns) const;
    void Write(std::string_view text) const;

    int m_file;
    bool m_isTerminal;
    std::size_t m_shown = 0; ///< columns that the progress takes
};

} // namespace Framegrab
