#pragma once

#include <filesystem>
#include <string>

namespace TestSupport {

/// A new empty folder, removed with everything in it at the end of its scope.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path());
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }

    /// @return the path of `name` in the folder
    [[nodiscard]] std::string File(const std::string& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

/// @return the bytes of a file; empty when it cannot be read
std::string ReadFile(const std::string& path);

} // namespace TestSupport
