#pragma once

#include <string>
#include <string_view>

namespace Framegrab {

/// The folder that the pictures go to.
class OutputFolder
{
public:
    OutputFolder() = default;
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    /// Removes a folder that `Prepare` made and that has stayed empty.
    ~OutputFolder();

    /// Makes the folder and its parents where they are missing, and sees whether files can be made in it.
    ///
    /// @param error  why not, in words
    /// @return whether pictures can be written
    bool Prepare(const std::string& path, std::string& error);

    /// The same for a folder that must be new: a number is added to the name of one that exists.
    ///
    /// @param path  receives the name with its number; in the current folder
    bool PrepareNew(std::string& path, std::string& error);

    /// The folder's path from the root.
    [[nodiscard]] const std::string& AbsolutePath() const { return m_absolutePath; }

private:
    std::string m_absolutePath;
    bool m_isNew = false;
};

/// @return whether there is no such file, or one that begins with about a kilobyte in which a mark stands:
///         one that framegrab has written and may replace
bool IsMissingOrMarked(const std::string& path, std::string_view mark);

} // namespace Framegrab
