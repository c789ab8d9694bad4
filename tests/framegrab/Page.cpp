#include "Page.h"

#include "support/TemporaryFolder.h"

#include <algorithm>
#include <map>
#include <regex>
#include <set>

namespace TestSupport {

namespace {

using Attributes = std::map<std::string, std::string>;

std::string Replaced(const std::string& text, const std::regex& pattern, int base)
{
    std::string result;
    auto rest = text.begin();
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
        result.append(rest, (*match)[0].first);
        result += static_cast<char>(std::stoi((*match)[1], nullptr, base));
        rest = (*match)[0].second;
    }
    return result.append(rest, text.end());
}

std::string Unescaped(const std::string& html)
{
    static const std::regex reference("&#([0-9]+);");
    return Replaced(html, reference, 10);
}

std::string FileOf(const std::string& url)
{
    static const std::regex byte("%([0-9A-F]{2})");
    return Replaced(url, byte, 16);
}

/// Reads a page of which every element but a few kinds has an end tag, and every attribute double quotes.
class Reader
{
public:
    explicit Reader(Page& page) : m_page(page) {}

    void Read()
    {
        const std::string& html = m_page.text;
        if (!html.starts_with("<!DOCTYPE html>\n")) {
            m_page.problems.emplace_back("no document type");
        }
        for (std::size_t start = html.find('\n'); (start = html.find('<', start)) != std::string::npos;) {
            const std::size_t end = html.find('>', start);
            ReadTag(html.substr(start + 1, end - start - 1));
            const std::size_t next = std::min(html.find('<', end), html.size());
            TakeText(html.substr(end + 1, next - end - 1));
            start = next;
        }
        if (!m_open.empty()) {
            m_page.problems.push_back(m_open.back() + " is not closed");
        }
    }

private:
    void ReadTag(const std::string& tag)
    {
        static const std::regex form(R"re((/?)([a-z][a-z0-9]*)((?: [a-z]+="[^"<>]*")*))re");
        static const std::regex attribute(R"re( ([a-z]+)="([^"]*)")re");
        std::smatch parts;
        if (!std::regex_match(tag, parts, form)) {
            m_page.problems.push_back("no tag: " + tag);
            return;
        }
        const std::string name = parts[2];
        if (parts[1].length() != 0) {
            if (m_open.empty() || m_open.back() != name) {
                m_page.problems.push_back("ends in between: " + name);
            } else {
                m_open.pop_back();
            }
            return;
        }
        const std::string given = parts[3];
        Attributes attributes;
        for (std::sregex_iterator match(given.begin(), given.end(), attribute), end; match != end; ++match) {
            attributes[(*match)[1]] = Unescaped((*match)[2]);
        }
        TakeElement(name, attributes);
        if (name != "meta" && name != "img") {
            m_open.push_back(name);
        }
    }

    void TakeElement(const std::string& name, const Attributes& attributes)
    {
        const auto value = [&](const char* key) {
            return attributes.contains(key) ? attributes.at(key) : std::string();
        };
        if (name == "script" || name == "link" || name == "iframe") {
            m_page.problems.push_back("has a " + name);
        }
        const std::string id = value("id");
        if (!id.empty() && !m_ids.insert(id).second) {
            m_page.problems.push_back("two elements are called " + id);
        }
        const bool isInBody = std::find(m_open.begin(), m_open.end(), "tbody") != m_open.end();
        if (isInBody && name == "tr") {
            m_page.rows.emplace_back();
        }
        m_isColumn = name == "th" && !isInBody;
        m_isHeading = isInBody && (name == "th" || (m_isHeading && name != "td"));
        if (m_page.rows.empty()) {
            return;
        }
        Page::Row& row = m_page.rows.back();
        if (name == "a" && !value("href").starts_with('#')) {
            row.links.push_back(FileOf(value("href")));
        } else if (name == "img") {
            row.images.push_back(FileOf(value("src")));
            row.alternatives.push_back(value("alt"));
        }
    }

    void TakeText(const std::string& text)
    {
        if (m_isColumn && text != "\n") {
            m_page.columns.push_back(Unescaped(text));
            m_isColumn = false;
        } else if (m_isHeading && text != "\n") {
            m_page.rows.back().heading += Unescaped(text);
        }
    }

    Page& m_page;
    std::vector<std::string> m_open;
    std::set<std::string> m_ids;
    bool m_isColumn = false;
    bool m_isHeading = false;
};

} // namespace

std::string Page::Problem() const
{
    if (!problems.empty()) {
        return problems.front();
    }
    for (const Row& row : rows) {
        for (const auto& files : {row.links, row.images}) {
            for (const std::string& file : files) {
                if (!std::filesystem::is_regular_file(folder / file)) {
                    return "row " + row.heading + ": no file " + file;
                }
            }
        }
        if (row.links.empty() || row.links.size() != row.images.size() ||
            std::count(row.alternatives.begin(), row.alternatives.end(), "") != 0) {
            return "row " + row.heading + " lacks an image, a link or a text";
        }
    }
    return text.find("://") != std::string::npos ? "leads elsewhere" : "";
}

Page ReadPage(const std::filesystem::path& folder)
{
    Page page;
    page.folder = folder;
    page.text = ReadFile((folder / "index.html").string());
    Reader(page).Read();
    if (!page.columns.empty()) {
        page.columns.erase(page.columns.begin());
    }
    return page;
}

} // namespace TestSupport
