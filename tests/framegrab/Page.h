#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace TestSupport {

/// A contact sheet, read from its HTML.
struct Page
{
    struct Row
    {
        std::vector<std::string> links; ///< as file names; that of the heading is left out
        std::vector<std::string> images;
        std::vector<std::string> alternatives; ///< texts in place of the images
    };

    std::filesystem::path folder;
    std::string text;
    std::vector<Row> rows;

    /// @return what is wrong with the page: a file that is not there, an image without a text
    ///         in its place, something from elsewhere; empty when nothing is
    [[nodiscard]] std::string Problem() const;
};

/// Reads the page in a folder.
Page ReadPage(const std::filesystem::path& folder);

} // namespace TestSupport
