#include "launcher/ContactSheet.h"

#include "launcher/OutputFolder.h"
#include "launcher/Text.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <tuple>
#include <unistd.h>

namespace Framegrab {

namespace {

/// By this the page is told from one that somebody else has put there.
constexpr std::string_view Generator = R"(<meta name="generator" content="framegrab">)";

/// The frame around a picture is dark whatever the colours of the page: pictures are judged before the same
/// background by day and by night. What is transparent shows the squares of it.
constexpr std::string_view Style = R"(
:root {
color-scheme: light dark;
--page: #fff; --text: #1b1b1b; --faint: #5c5c5c; --line: #d8d8d8; --link: #0b57d0;
}
@media (prefers-color-scheme: dark) {
:root { --page: #131313; --text: #d6d6d6; --faint: #9a9a9a; --line: #333; --link: #8ab4f8; }
}
body { margin: 0; padding: 1rem; font: 1rem/1.4 system-ui, sans-serif; }
body { background: var(--page); color: var(--text); }
h1 { margin: 0; font-size: 1.4rem; overflow-wrap: anywhere; }
h2 { margin: 1.5rem 0 .3rem; font-size: 1.1rem; }
h1 + p { margin: .2rem 0 1rem; color: var(--faint); }
.note { font-weight: 600; overflow-wrap: anywhere; }
.legend { display: flex; flex-wrap: wrap; gap: .2rem .8rem; margin: .3rem 0; padding: 0; list-style: none; }
.legend li { font-size: .8rem; font-variant-numeric: tabular-nums; }
.legend span { display: inline-block; width: .8rem; height: .8rem; margin-right: .3rem;
  vertical-align: -.1rem; }
.legend span { border: 1px solid var(--line); }
a { color: var(--link); }
table { border-collapse: collapse; table-layout: fixed; width: 100%; }
thead th { position: sticky; top: 0; z-index: 1; background: var(--page); text-align: left; }
thead th { font-size: .85rem; }
.rows { content-visibility: auto; }
tbody tr { scroll-margin-top: 2.5rem; }
th, td { padding: .5rem; border-bottom: 1px solid var(--line); vertical-align: top; overflow-wrap: anywhere; }
th:first-child { width: 5rem; }
th[scope=row] { text-align: left; font-variant-numeric: tabular-nums; }
th[scope=row] a { color: inherit; text-decoration: none; }
td > a { display: block; width: fit-content; border: 1px solid var(--line); }
td > a { background: repeating-conic-gradient(#2b2b2b 0 25%, #454545 0 50%) 0 0 / 16px 16px; }
td > a:focus-visible, td > a:hover { outline: 3px solid var(--link); }
img { display: block; max-width: 100%; height: auto; }
td p { margin: .3rem 0 0; font-size: .8rem; color: var(--faint); overflow-wrap: anywhere; }
td b { display: none; color: var(--text); }
td em { font-style: normal; font-weight: 600; color: var(--text); }
)";

/// Where there is no room for a table, because the window is narrow or a frame has very many pictures, a row
/// has as many pictures beside each other as fit. `@` stands for the tables.
constexpr std::string_view WrappedStyle = R"(
@, @ table, @ tbody { display: block; min-width: 0 !important; max-width: none !important; }
@ thead, @ td:empty { display: none; }
@ tr { display: grid; grid-template-columns: repeat(auto-fill, minmax(9rem, 1fr)); gap: .75rem; }
@ tr { padding: 0 0 1rem; }
@ th, @ td { padding: 0; border: 0; min-width: 0; }
@ th[scope=row] { grid-column: 1 / -1; width: auto; padding-top: .5rem; border-top: 1px solid var(--line); }
@ th[scope=row] a::before { content: "Frame "; }
@ td b { display: block; }
)";

/// More columns than this are no table any more.
constexpr std::size_t MostColumns = 16;

/// A browser lays out one table as a whole, however little of it is seen, which takes it longer than anyone
/// waits where the rows are thousands. Of several it skips those that are out of sight.
constexpr std::size_t RowsOfTable = 100;

/// What a row is taken to be high, in the page's unit, until it has been seen.
constexpr std::size_t RowHeight = 12;

std::string WrappedStyleOf(std::string_view tables)
{
    std::string style;
    for (const char character : WrappedStyle) {
        style += character == '@' ? std::string(tables) : std::string(1, character);
    }
    return style;
}

std::string Upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

std::string SizeText(const Picture& picture)
{
    return std::to_string(picture.width) + " × " + std::to_string(picture.height);
}

/// @return e.g. "7", "7, 0, 1"; without the zeros at the end
std::string IntegersText(const Integers& integers)
{
    std::size_t count = integers.size();
    while (count > 1 && integers[count - 1] == 0) {
        --count;
    }
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(integers[i]);
    }
    return text;
}

std::string LegendOf(const char* title, const Legend& legend)
{
    if (legend.empty()) {
        return "";
    }
    std::ostringstream html;
    html << "<h2>" << title << "</h2>\n<ul class=\"legend\">";
    for (const Integers& integers : legend) {
        html << R"(<li><span style="background: #)" << std::hex << std::setfill('0');
        const Rgba color = ColorOf(integers);
        for (std::size_t i = 0; i < 3; ++i) {
            html << std::setw(2) << unsigned{color[i]};
        }
        html << R"("></span>)" << IntegersText(integers) << "</li>";
    }
    html << "</ul>\n";
    if (legend.size() >= MostInLegend) {
        html << "<p>Further ones have colors as well.</p>\n";
    }
    return html.str();
}

} // namespace

void ContactSheet::Add(const PictureFile& file)
{
    const Picture& picture = file.picture;
    Section& section = m_sections[{picture.process, picture.surface}];
    Row& row = section.RowOf(picture);
    const std::size_t column = section.ColumnOf(ImageName(picture), row);

    auto cell = std::find_if(row.cells.begin(), row.cells.end(),
                             [&](const Cell& other) { return other.column == column; });
    if (cell == row.cells.end()) {
        cell = row.cells.insert(cell, Cell{.column = column});
    }
    (picture.isThumbnail ? cell->thumbnail : cell->picture) = &file;
}

void ContactSheet::AddLegend(Buffer buffer, const Legend& legend)
{
    Legend& known = buffer == Buffer::Stencil ? m_stencil : m_integers;
    for (auto next = legend.begin(); next != legend.end() && known.size() < MostInLegend; ++next) {
        known.insert(*next);
    }
}

ContactSheet::Row& ContactSheet::Section::RowOf(const Picture& picture)
{
    const auto [known, isNew] = rowIndices.emplace(picture.frame, rows.size());
    if (isNew) {
        rows.push_back({.picture = &picture, .cells = {}});
    }
    return rows[known->second];
}

std::size_t ContactSheet::Section::ColumnOf(const std::string& name, const Row& row)
{
    const auto [known, isNew] = columnIndices.emplace(name, columns.size());
    if (isNew) {
        // A frame may have what those before it had not: its place is behind what the frame drew before.
        const auto before =
            row.cells.empty() ? order.end() : std::find(order.begin(), order.end(), row.cells.back().column);
        order.insert(row.cells.empty() ? order.begin() : before + 1, columns.size());
        columns.push_back(name);
    }
    return known->second;
}

std::string ContactSheet::Summary() const
{
    std::uint64_t frames = 0;
    std::uint64_t pictures = 0;
    std::uint64_t bytes = 0;
    for (const auto& [key, section] : m_sections) {
        frames += section.rows.size();
        for (const Row& row : section.rows) {
            for (const Cell& cell : row.cells) {
                ++pictures;
                for (const PictureFile* const file : {cell.picture, cell.thumbnail}) {
                    bytes += file ? file->bytes + file->valuesBytes : 0;
                }
            }
        }
    }
    return Count(frames, "frame") + ", " + Count(pictures, "picture") + ", " + Bytes(bytes);
}

/// @return which window it is, and the sizes that it had
std::string ContactSheet::Title(const Section& section) const
{
    const Picture& first = *section.rows.front().picture;
    std::string title =
        first.process == 1 ? "Window" : "Process " + std::to_string(first.process) + ", window";
    title += m_sections.size() > 1 ? " " + std::to_string(first.surface) : "";
    constexpr std::size_t MostSizes = 8; // a window that is resized by hand has very many
    std::size_t sizes = 0;
    std::string last;
    for (const Row& row : section.rows) {
        const auto cell = std::find_if(row.cells.begin(), row.cells.end(), [](const Cell& one) {
            return one.picture && one.picture->picture.target == 0;
        });
        const std::string size = cell == row.cells.end() ? last : SizeText(cell->picture->picture);
        if (size != last && ++sizes <= MostSizes) {
            title += (last.empty() ? ": " : "; ") + size;
            title += last.empty() ? "" : " from frame " + std::to_string(row.picture->frame);
        }
        last = size;
    }
    return title + (sizes > MostSizes ? "; " + Count(sizes - MostSizes, "more size") : "");
}

void ContactSheet::Print(std::ostream& html) const
{
    const std::string program = EscapedForHtml(m_program);
    html << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         << Generator << "\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>"
         << program << ": " << Summary() << "</title>\n<style>" << Style << "@media (max-width: 45rem) {"
         << WrappedStyleOf(".rows") << "}\n"
         << WrappedStyleOf(".many") << "</style>\n</head>\n<body>\n<h1>" << program << "</h1>\n<p>"
         << Summary() << "</p>\n";
    if (!m_note.empty()) {
        html << R"(<p class="note">)" << EscapedForHtml(m_note) << "</p>\n";
    }
    html << LegendOf("Stencil values", m_stencil) << LegendOf("Integer colors", m_integers);
    for (const auto& [key, section] : m_sections) {
        PrintSection(html, section);
    }
    html << "</body>\n</html>\n";
}

void ContactSheet::PrintSection(std::ostream& html, const Section& section) const
{
    html << "<h2>" << Title(section) << "</h2>\n";
    for (std::size_t first = 0; first < section.rows.size(); first += RowsOfTable) {
        const std::size_t end = std::min(first + RowsOfTable, section.rows.size());
        html << TableStart(section, end - first);
        for (std::size_t i = first; i < end; ++i) {
            html << RowHtml(section, section.rows[i]);
        }
        html << "</tbody>\n</table></div>\n";
    }
}

/// @return what a table of so many rows begins with
std::string ContactSheet::TableStart(const Section& section, std::size_t rows)
{
    const std::size_t columns = section.columns.size();
    const std::string count = std::to_string(columns);
    std::string html = columns > MostColumns
                           ? R"(<div class="rows many" style=")"
                           : R"(<div class="rows" style="min-width: calc(5rem + )" + count +
                                 " * 10rem); max-width: calc(6rem + " + count + " * 30rem); ";
    html += "contain-intrinsic-height: auto " + std::to_string(rows * RowHeight) +
            "rem\"><table>\n<thead>\n<tr><th scope=\"col\">Frame</th>";
    for (const std::size_t column : section.order) {
        html += R"(<th scope="col">)" + section.columns[column] + "</th>";
    }
    return html + "</tr>\n</thead>\n<tbody>\n";
}

std::string ContactSheet::RowHtml(const Section& section, const Row& row)
{
    std::vector<const Cell*> cells(section.columns.size());
    for (const Cell& cell : row.cells) {
        cells[cell.column] = &cell;
    }
    const std::string name = FrameName(*row.picture);
    std::string html = R"(<tr id=")" + name + R"("><th scope="row"><a href="#)" + name + R"(">)" +
                       std::to_string(row.picture->frame) + "</a></th>\n";
    for (const std::size_t column : section.order) {
        if (cells[column]) {
            html += "<td>" + CellHtml(section.columns[column], *cells[column]) + "</td>\n";
        } else if (section.columns.size() <= MostColumns) {
            html += "<td></td>\n";
        }
    }
    return html + "</tr>\n";
}

std::string ContactSheet::CellHtml(const std::string& column, const Cell& cell)
{
    const PictureFile& linked = cell.Linked();
    const PictureFile& shown = cell.Shown();
    const Picture& picture = linked.picture;
    const std::string format = picture.format.ToString();
    const std::string extension =
        linked.name.substr(std::min(linked.name.rfind('.') + 1, linked.name.size()));
    std::string html = R"(<a href=")" + EncodedForUrl(linked.name) + R"("><img src=")" +
                       EncodedForUrl(shown.name) + R"(" width=")" + std::to_string(shown.picture.width) +
                       R"(" height=")" + std::to_string(shown.picture.height) + R"(" alt="Frame )" +
                       std::to_string(picture.frame) +
                       (picture.process == 1 ? "" : " of process " + std::to_string(picture.process)) +
                       (picture.surface == 1 ? "" : " of window " + std::to_string(picture.surface)) + ", " +
                       column + R"(" loading="lazy" decoding="async"></a><p><b>)" + column + "</b> " +
                       SizeText(picture) + (format.empty() ? "" : ", " + EscapedForHtml(format)) + ", " +
                       EscapedForHtml(Upper(extension)) + "\u00A0" + Bytes(linked.bytes);
    if (linked.depthRange) {
        html += ", <em>black " + Number(static_cast<double>(linked.depthRange->least)) + ", white " +
                Number(static_cast<double>(linked.depthRange->greatest)) + "</em>";
    }
    if (linked.largest > 1.0F) {
        html += ", <em>up to " + Number(static_cast<double>(*linked.largest)) + "</em>";
    }
    if (!linked.valuesName.empty()) {
        html += R"(, <a href=")" + EncodedForUrl(linked.valuesName) + "\">EXR\u00A0" +
                Bytes(linked.valuesBytes) + "</a>";
    }
    return html + "</p>";
}

bool ContactSheet::Write(const std::string& folder, std::string& error) const
{
    const std::string path = folder + "/" + FileName;
    if (!IsMissingOrMarked(path, Generator)) {
        error = path + " is not framegrab's: it stays, and there is no contact sheet";
        return false;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    Print(file);
    file.flush();
    if (!file.good()) {
        error = "the contact sheet " + path + " cannot be written: " + std::strerror(errno);
        if (file.is_open()) {
            unlink(path.c_str()); // a cut one may show nothing, or frames without their pictures
        }
        return false;
    }
    return true;
}

std::string ContactSheet::UrlOf(const std::string& absoluteFolder)
{
    return "file://" + EncodedForUrl(absoluteFolder + "/" + FileName);
}

} // namespace Framegrab
