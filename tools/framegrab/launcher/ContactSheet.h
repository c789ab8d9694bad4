#pragma once

#include "launcher/PictureFile.h"

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Framegrab {

/// A page that shows the pictures of a session: a section for each window, in it a row for each frame and a
/// column for each buffer, in the order in which they were drawn.
///
/// One HTML file without scripts that needs nothing but the pictures beside it.
class ContactSheet
{
public:
    static constexpr const char* FileName = "index.html";

    /// @param program  name of the program
    explicit ContactSheet(std::string program) : m_program(std::move(program)) {}

    /// Adds a file, which has to outlive this object. A thumbnail is shown for the full-size picture of the
    /// same image, whichever comes first.
    void Add(const PictureFile& file);

    /// Adds integers to what the page says of the colors that pictures of a kind of buffer are painted with.
    void AddLegend(Buffer buffer, const Legend& legend);

    /// Sets what the page says above the pictures.
    void SetNote(std::string note) { m_note = std::move(note); }

    void Print(std::ostream& html) const;

    /// Writes the page into the folder of the pictures.
    ///
    /// @param error  why not, in words
    /// @return whether it was written; false as well where a page of that name is somebody else's
    bool Write(const std::string& folder, std::string& error) const;

    /// @return the address at which a browser finds the page of a folder
    static std::string UrlOf(const std::string& absoluteFolder);

private:
    /// At least one of the two is there.
    struct Cell
    {
        std::size_t column = 0;
        const PictureFile* picture = nullptr;
        const PictureFile* thumbnail = nullptr;

        [[nodiscard]] const PictureFile& Linked() const { return picture ? *picture : *thumbnail; }
        [[nodiscard]] const PictureFile& Shown() const { return thumbnail ? *thumbnail : *picture; }
    };

    /// A frame of a window.
    struct Row
    {
        const Picture* picture = nullptr; ///< one of them
        std::vector<Cell> cells;
    };

    /// A window.
    struct Section
    {
        Row& RowOf(const Picture& picture);
        std::size_t ColumnOf(const std::string& name, const Row& row);

        std::vector<std::string> columns; ///< their names
        std::vector<std::size_t> order;   ///< indices in `columns`, from left to right
        std::vector<Row> rows;
        std::map<std::string, std::size_t> columnIndices; ///< by the columns' names
        std::map<std::uint64_t, std::size_t> rowIndices;  ///< by the frames
    };

    [[nodiscard]] std::string Summary() const;
    [[nodiscard]] std::string Title(const Section& section) const;
    void PrintSection(std::ostream& html, const Section& section) const;
    [[nodiscard]] static std::string TableStart(const Section& section, std::size_t rows);
    [[nodiscard]] static std::string RowHtml(const Section& section, const Row& row);
    [[nodiscard]] static std::string CellHtml(const std::string& column, const Cell& cell);

    std::string m_program;
    std::string m_note;
    std::map<std::pair<std::uint32_t, std::uint32_t>, Section> m_sections; ///< by process and surface
    Legend m_stencil;
    Legend m_integers; ///< of colors
};

} // namespace Framegrab
