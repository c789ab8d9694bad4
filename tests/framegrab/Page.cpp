#include "Page.h"

#include "support/TemporaryFolder.h"

#include <algorithm>
#include <map>
#include <regex>

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

/// Reads the rows of a page of which every attribute has double quotes.
void ReadRows(Page& page)
{
    static const std::regex element(R"re(<(tr|a|img)((?: [a-z]+="[^"<>]*")*)>)re");
    static const std::regex attribute(R"re( ([a-z]+)="([^"]*)")re");
    const std::string body = page.text.substr(std::min(page.text.find("<tbody"), page.text.size()));
    for (std::sregex_iterator match(body.begin(), body.end(), element), end; match != end; ++match) {
        const std::string name = (*match)[1];
        const std::string given = (*match)[2];
        Attributes attributes;
        for (std::sregex_iterator part(given.begin(), given.end(), attribute); part != end; ++part) {
            attributes[(*part)[1]] = Unescaped((*part)[2]);
        }
        if (name == "tr") {
            page.rows.emplace_back();
        } else if (page.rows.empty()) {
            continue;
        } else if (name == "img") {
            page.rows.back().images.push_back(FileOf(attributes["src"]));
            page.rows.back().alternatives.push_back(attributes["alt"]);
        } else if (!attributes["href"].starts_with('#')) {
            page.rows.back().links.push_back(FileOf(attributes["href"]));
        }
    }
}

} // namespace

std::string Page::Problem() const
{
    for (const Row& row : rows) {
        for (const auto& files : {row.links, row.images}) {
            for (const std::string& file : files) {
                if (!std::filesystem::is_regular_file(folder / file)) {
                    return "no file " + file;
                }
            }
        }
        if (row.links.empty() || row.links.size() != row.images.size() ||
            std::count(row.alternatives.begin(), row.alternatives.end(), "") != 0) {
            return "a row lacks an image, a link or a text";
        }
    }
    return text.find("://") != std::string::npos ? "leads elsewhere" : "";
}

Page ReadPage(const std::filesystem::path& folder)
{
    Page page;
    page.folder = folder;
    page.text = ReadFile((folder / "index.html").string());
    ReadRows(page);
    return page;
}

} // namespace TestSupport
