// Input: a set of bytes (delimiters, bytes to trim), then, behind the first line end, a text.

#include "Require.h"
#include "Util/String.h"

#include <algorithm>
#include <cstdint>
#include <limits>
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

/// The value of a digit; 36 for what is none.
unsigned int Digit(char c)
{
    const std::string digits = "0123456789abcdefghijklmnopqrstuvwxyz";
    const auto lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return static_cast<unsigned int>(std::min(digits.find(lower), digits.size()));
}

/// What the text says as a number, read byte by byte.
int Number(const std::string& text)
{
    std::size_t position = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const auto at = [&](std::size_t index) { return index < text.size() ? text[index] : '\0'; };
    const bool isNegative = at(position) == '-';
    position += isNegative || at(position) == '+' ? 1 : 0;
    unsigned int base = 10;
    if (at(position) == '0') {
        const bool isHexadecimal =
            (at(position + 1) == 'x' || at(position + 1) == 'X') && Digit(at(position + 2)) < 16;
        base = isHexadecimal ? 16 : 8;
        position += isHexadecimal ? 2 : 0;
    }
    // The magnitude stops at that of the nearest 64-bit value.
    const std::uint64_t most =
        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (isNegative ? 1 : 0);
    std::uint64_t value = 0;
    for (; Digit(at(position)) < base; ++position) {
        const std::uint64_t digit = Digit(at(position));
        value = value > (most - digit) / base ? most : value * base + digit;
    }
    return static_cast<int>(isNegative ? 0 - value : value);
}

void Numbers(const std::string& text)
{
    const int value = String::ToInt(text);
    Require(value == Number(text));
    for (const unsigned int base : {8U, 10U, 16U}) {
        Require(String::ToInt(String::FromInt(value, base)) == value);
    }
    Require(String::FromInt64(value, 10) == String::FromInt(value, 10));
}

void Characters(const std::string& text)
{
    Require(String::FromWString(String::ToWString(text)) == text);
    const std::string lower = String::ToLower(text);
    const std::string upper = String::ToUpper(text);
    Require(lower.size() == text.size());
    Require(String::ToLower(upper) == lower && String::ToUpper(lower) == upper);
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
    Characters(text);
    return 0;
}
