// Input: a set of bytes (delimiters, bytes to trim), then, behind the first line end, a text.

#include "Require.h"
#include "Util/String.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace Util;

void Tokenize(const std::string& text, const std::string& delimiters)
{
    std::vector<std::string> tokens{"kept"};
    const int status = String::Tokenize(text, delimiters, &tokens);
    Require(status == (text.empty() || delimiters.empty() ? 6 : 0));
    Require(tokens[0] == "kept");
    if (status != 0) {
        Require(tokens.size() == 1);
        return;
    }
    // The tokens with the delimiters between them are the text.
    std::string joined = tokens.at(1);
    std::size_t token = 2;
    for (const char c : text) {
        if (delimiters.find(c) != std::string::npos) {
            joined += c + tokens.at(token++);
        }
    }
    Require(joined == text);
    Require(token == tokens.size());
}

void Trim(const std::string& text, const std::string& bytes)
{
    const std::string trimmed = String::Trim(text, bytes);
    const auto isTrimmed = [&](char c) { return bytes.find(c) != std::string::npos; };
    Require(trimmed.empty() || (!isTrimmed(trimmed.front()) && !isTrimmed(trimmed.back())));
    const auto inside = static_cast<std::size_t>(std::ranges::find_if_not(text, isTrimmed) - text.begin());
    Require(text.compare(inside, trimmed.size(), trimmed) == 0);
    Require(std::all_of(text.begin() + static_cast<std::ptrdiff_t>(inside + trimmed.size()), text.end(),
                        isTrimmed));
}

void Numbers(const std::string& text)
{
    const int value = String::ToInt(text);
    for (const unsigned int base : {8U, 10U, 16U}) {
        Require(String::ToInt(String::FromInt(value, base)) == value);
    }
    Require(String::FromInt64(value, 10) == String::FromInt(value, 10));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input(data, data + size);
    const std::size_t lineEnd = std::min(input.find('\n'), input.size());
    const std::string bytes = input.substr(0, lineEnd);
    const std::string text = input.substr(std::min(lineEnd + 1, input.size()));
    Tokenize(text, bytes);
    Trim(text, bytes);
    Numbers(text);
    return 0;
}
