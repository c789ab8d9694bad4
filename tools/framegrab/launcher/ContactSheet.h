#pragma once

#include "launcher/ImageFile.h"
#include "shared/Picture.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Framegrab {

/// A page that shows the pictures of a session: a row for each frame of a process, a column for each buffer,
/// in the order in which they were drawn.
///
/// One HTML file without scripts that needs nothing but the pictures beside it.
class ContactSheet
{
public:
    static constexpr const char* FileName = "index.html";

    /// @param program  name of the program
    explicit ContactSheet(std::string program) : m_program(std::move(program)) {}

    /// Adds a file. A thumbnail is shown for the full-size picture of the same image, whichever comes first.
    ///
    /// @param name  in the folder of the page
    void Add(const Picture& picture, const std::string& name, const ImageFile& image);

    /// Sets what the page says above the pictures.
    void SetNote(std::string note) { m_note = std::move(note); }

    [[nodiscard]] std::string Html() const;

    /// Writes the page into the folder of the pictures.
    ///
    /// @param error  why not, in words
    /// @return whether it was written; false as well where a page of that name is somebody else's
    bool Write(const std::string& folder, std::string& error) const;

    /// @return the address at which a browser finds the page of a folder
    static std::string UrlOf(const std::string& absoluteFolder);

private:
    struct File
    {
        std::string name; ///< empty when there is none
        ImageFile image;
    };

    struct Cell
    {
        std::size_t column = 0;
        std::string format; ///< of the buffer; may be empty
        File picture;
        File thumbnail;
    };

    struct Row
    {
        std::string name; ///< what the names of its files begin with
        std::uint64_t frame = 0;
        std::uint32_t process = 1; ///< among those that show frames
        std::vector<Cell> cells;
    };

    Row& RowOf(const Picture& picture);
    std::size_t ColumnOf(std::string_view name, const Row& row);
    [[nodiscard]] std::string Summary() const;
    [[nodiscard]] std::string HtmlOf(const Row& row) const;
    [[nodiscard]] std::string HtmlOf(const Row& row, const Cell& cell) const;

    std::string m_program;
    std::string m_note;
    std::vector<std::string> m_columns; ///< their names
    std::vector<std::size_t> m_order;   ///< indices in `m_columns`, from left to right
    std::vector<Row> m_rows;
    std::map<std::string, std::size_t> m_rowIndices; ///< by the rows' names
};

} // namespace Framegrab
