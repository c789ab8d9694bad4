#include "launcher/ContactSheet.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace Framegrab {

namespace {

/// By this the page is told from one that somebody else has put there.
constexpr std::string_view Generator = R"(<meta name="generator" content="framegrab">)";

/// The frame around a picture is dark whatever the colours of the page: what is transparent shows it, and
/// pictures are judged before the same background by day and by night. Narrow windows get as many pictures
/// beside each other as have room, instead of a table.
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
h1 + p { margin: .2rem 0 1rem; color: var(--faint); }
.note { font-weight: 600; overflow-wrap: anywhere; }
a { color: var(--link); }
table { border-collapse: collapse; table-layout: fixed; width: 100%; }
thead th { position: sticky; top: 0; z-index: 1; background: var(--page); text-align: left; }
th, td { padding: .5rem; border-bottom: 1px solid var(--line); vertical-align: top; overflow-wrap: anywhere; }
th:first-child { width: 5rem; }
th[scope=row] { text-align: left; font-variant-numeric: tabular-nums; }
th[scope=row] a { color: inherit; text-decoration: none; }
th small { display: block; font-weight: 400; color: var(--faint); }
td > a { display: block; width: fit-content; background: #1e1e1e; border: 1px solid var(--line); }
td > a:focus-visible, td > a:hover { outline: 3px solid var(--link); }
img { display: block; max-width: 100%; height: auto; }
td p { margin: .3rem 0 0; font-size: .8rem; color: var(--faint); overflow-wrap: anywhere; }
td b { display: none; color: var(--text); }
@media (max-width: 45rem) {
table, tbody { display: block; min-width: 0 !important; }
thead, td:empty { display: none; }
tr { display: grid; grid-template-columns: repeat(auto-fill, minmax(9rem, 1fr)); gap: .75rem; }
tr { padding: 0 0 1rem; }
th, td { padding: 0; border: 0; min-width: 0; }
th[scope=row] { grid-column: 1 / -1; width: auto; padding-top: .5rem; border-top: 1px solid var(--line); }
th small { display: inline; }
th[scope=row] a::before { content: "Frame "; }
td b { display: block; }
}
)";

/// @return bytes of the UTF-8 character that a text begins with; 0 where there is none
/// @see RFC 3629, section 4
std::size_t SizeOfCharacter(std::string_view text)
{
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const std::size_t size = byte(0) < 0x80   ? 1
                             : byte(0) < 0xC2 ? 0
                             : byte(0) < 0xE0 ? 2
                             : byte(0) < 0xF0 ? 3
                                              : 4;
    const bool isOutside = byte(0) > 0xF4 || (byte(0) == 0xE0 && byte(1) < 0xA0) ||
                           (byte(0) == 0xED && byte(1) > 0x9F) || (byte(0) == 0xF0 && byte(1) < 0x90) ||
                           (byte(0) == 0xF4 && byte(1) > 0x8F);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    return isOutside ? 0 : size;
}

/// @return a text for the content of an element or a quoted attribute; what HTML cannot hold is U+FFFD
std::string Escaped(std::string_view text)
{
    constexpr std::string_view Special = "&<>\"'";
    std::string html;
    while (!text.empty()) {
        const std::size_t size = SizeOfCharacter(text);
        const auto first = static_cast<unsigned char>(text.front());
        if (size == 0 || (first < 0x20 && first != '\t' && first != '\n') || first == 0x7F) {
            html += "\xEF\xBF\xBD";
        } else if (Special.find(text.front()) != std::string_view::npos) {
            html += "&#" + std::to_string(first) + ";";
        } else {
            html += text.substr(0, size);
        }
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return html;
}

/// @return a path as part of an address
/// @see RFC 3986, section 2
std::string Encoded(std::string_view path)
{
    constexpr std::string_view Hex = "0123456789ABCDEF";
    std::string url;
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80 && (std::isalnum(byte) != 0 || std::strchr("-._~/", character))) {
            url += character;
        } else {
            url += {'%', Hex[byte >> 4U], Hex[byte & 15U]};
        }
    }
    return url;
}

std::string Count(std::uint64_t count, const std::string& thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

/// @return a size with two digits at least, e.g. "45 kB" and "1.2 MB"
std::string Bytes(std::uint64_t bytes)
{
    std::size_t unit = 0;
    std::uint64_t tenths = bytes * 10;
    constexpr std::array<const char*, 5> Units{"bytes", "kB", "MB", "GB", "TB"};
    for (; tenths >= 10000 && unit + 1 < Units.size(); ++unit) {
        tenths = (tenths + 500) / 1000;
    }
    const std::string fraction = unit > 0 && tenths < 100 ? "." + std::to_string(tenths % 10) : "";
    return std::to_string(tenths / 10) + fraction + "\u00A0" + Units[unit];
}

std::string Upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

/// @return whether a file is missing or is a page from here
bool CanBeReplaced(const std::string& path)
{
    std::error_code ignored;
    if (std::filesystem::exists(path, ignored) && !std::filesystem::is_regular_file(path, ignored)) {
        return false; // opening a pipe would wait for somebody at its other end
    }
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) {
        return errno == ENOENT;
    }
    std::string start(1024, '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    return start.find(Generator) != std::string::npos;
}

} // namespace

void ContactSheet::Add(const Picture& picture, const std::string& name, const ImageFile& image)
{
    Row& row = RowOf(picture);
    const std::size_t column = ColumnOf(ImageName(picture), row);

    auto cell = std::find_if(row.cells.begin(), row.cells.end(),
                             [&](const Cell& other) { return other.column == column; });
    if (cell == row.cells.end()) {
        cell = row.cells.insert(
            cell,
            Cell{.column = column, .format = picture.format.ToString(), .picture = {}, .thumbnail = {}});
    }
    (picture.isThumbnail ? cell->thumbnail : cell->picture) = File{name, image};
}

ContactSheet::Row& ContactSheet::RowOf(const Picture& picture)
{
    std::string name = FrameName(picture);
    const auto [known, isNew] = m_rowIndices.emplace(name, m_rows.size());
    if (!isNew) {
        return m_rows[known->second];
    }
    m_rows.push_back(
        {.name = std::move(name), .frame = picture.frame, .process = picture.process, .cells = {}});
    return m_rows.back();
}

std::size_t ContactSheet::ColumnOf(std::string_view name, const Row& row)
{
    const auto known = std::find(m_columns.begin(), m_columns.end(), name);
    const auto column = static_cast<std::size_t>(known - m_columns.begin());
    if (known == m_columns.end()) {
        // A frame may have what those before it had not: its place is behind what the frame drew before.
        const auto before = row.cells.empty()
                                ? m_order.end()
                                : std::find(m_order.begin(), m_order.end(), row.cells.back().column);
        m_order.insert(row.cells.empty() ? m_order.begin() : before + 1, column);
        m_columns.emplace_back(name);
    }
    return column;
}

std::string ContactSheet::Summary() const
{
    std::uint64_t pictures = 0;
    std::uint64_t bytes = 0;
    for (const Row& row : m_rows) {
        for (const Cell& cell : row.cells) {
            ++pictures;
            bytes += cell.picture.image.bytes + cell.thumbnail.image.bytes;
        }
    }
    return Count(m_rows.size(), "frame") + ", " + Count(pictures, "picture") + ", " + Bytes(bytes);
}

std::string ContactSheet::Html() const
{
    const std::string program = Escaped(m_program);
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
    html.append(Generator).append(
        "\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>");
    html.append(program).append(": ").append(Count(m_rows.size(), "frame")).append("</title>\n<style>");
    html.append(Style).append("</style>\n</head>\n<body>\n<h1>").append(program).append("</h1>\n<p>");
    html.append(Summary()).append("</p>\n");
    if (!m_note.empty()) {
        html.append(R"(<p class="note">)").append(Escaped(m_note)).append("</p>\n");
    }
    const std::string columns = std::to_string(m_columns.size());
    html.append(R"(<table style="min-width: calc(5rem + )" + columns + " * 9rem); max-width: calc(6rem + " +
                columns + " * 30rem)\">\n<thead>\n<tr><th scope=\"col\">Frame</th>");
    for (const std::size_t column : m_order) {
        html.append(R"(<th scope="col">)").append(Escaped(m_columns[column])).append("</th>");
    }
    html.append("</tr>\n</thead>\n<tbody>\n");
    for (const Row& row : m_rows) {
        html.append(HtmlOf(row));
    }
    return html.append("</tbody>\n</table>\n</body>\n</html>\n");
}

std::string ContactSheet::HtmlOf(const Row& row) const
{
    const std::string id = Escaped(row.name);
    std::string html =
        R"(<tr id=")" + id + R"("><th scope="row"><a href="#)" + Encoded(row.name) + R"(">)" +
        std::to_string(row.frame) + "</a>" +
        (row.process == 1 ? "" : " <small>process " + std::to_string(row.process) + "</small>") + "</th>\n";
    for (const std::size_t column : m_order) {
        const auto cell = std::find_if(row.cells.begin(), row.cells.end(),
                                       [&](const Cell& other) { return other.column == column; });
        html += "<td>" + (cell == row.cells.end() ? "" : HtmlOf(row, *cell)) + "</td>\n";
    }
    return html + "</tr>\n";
}

std::string ContactSheet::HtmlOf(const Row& row, const Cell& cell) const
{
    const File& target = cell.picture.name.empty() ? cell.thumbnail : cell.picture;
    const File& shown = cell.thumbnail.name.empty() ? cell.picture : cell.thumbnail;
    const std::string label = Escaped(m_columns[cell.column]);
    const std::string extension =
        target.name.substr(std::min(target.name.rfind('.') + 1, target.name.size()));
    return R"(<a href=")" + Encoded(target.name) + R"("><img src=")" + Encoded(shown.name) + R"(" width=")" +
           std::to_string(shown.image.width) + R"(" height=")" + std::to_string(shown.image.height) +
           R"(" alt="Frame )" + std::to_string(row.frame) +
           (row.process == 1 ? "" : " of process " + std::to_string(row.process)) + ", " + label +
           R"(" loading="lazy" decoding="async"></a><p><b>)" + label + "</b> " +
           std::to_string(target.image.width) + " × " + std::to_string(target.image.height) +
           (cell.format.empty() ? "" : ", " + Escaped(cell.format)) + ", " + Escaped(Upper(extension)) +
           "\u00A0" + Bytes(target.image.bytes) + "</p>";
}

bool ContactSheet::Write(const std::string& folder, std::string& error) const
{
    const std::string path = folder + "/" + FileName;
    if (!CanBeReplaced(path)) {
        error = path + " is not framegrab's: it stays, and there is no contact sheet";
        return false;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << Html() << std::flush;
    if (!file.good()) {
        error = "the contact sheet " + path + " cannot be written: " + std::strerror(errno);
        return false;
    }
    return true;
}

std::string ContactSheet::UrlOf(const std::string& absoluteFolder)
{
    return "file://" + Encoded(absoluteFolder + "/" + FileName);
}

} // namespace Framegrab
