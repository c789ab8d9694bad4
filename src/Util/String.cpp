#include "Util/String.h"

#include "Core/System.h"
#include "Util/NoThrow.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <type_traits>

namespace Util::String {

namespace {

constexpr int StatusSuccess = 0;
constexpr int StatusInvalid = 6;

template <typename Signed>
std::string FromSigned(Signed value, unsigned int base)
{
    const auto bits = std::uint64_t{static_cast<std::make_unsigned_t<Signed>>(value)};
    char text[32]; // 24 at most: 64 bits in octal with prefix and terminator
    switch (base) {
    case 8:
        std::snprintf(text, sizeof(text), "0%" PRIo64, bits);
        break;
    case 10:
        std::snprintf(text, sizeof(text), "%" PRId64, std::int64_t{value});
        break;
    case 16:
        std::snprintf(text, sizeof(text), "0x%" PRIx64, bits);
        break;
    default:
        return {};
    }
    return NoThrow([&] { return std::string(text); });
}

/// `Target` made of what `convert` makes of each character of `source`.
template <typename Target, typename Source, typename Convert>
Target Map(const Source& source, Convert convert)
{
    return NoThrow([&] {
        Target target(source.size(), 0);
        std::transform(source.begin(), source.end(), target.begin(), convert);
        return target;
    });
}

} // namespace

std::wstring ToWString(const std::string& s)
{
    return Map<std::wstring>(s, [](char c) { return static_cast<wchar_t>(static_cast<unsigned char>(c)); });
}

std::string FromWString(const std::wstring& s)
{
    return Map<std::string>(s, [](wchar_t c) { return static_cast<char>(c & 0xFF); });
}

int ToInt(const std::string& s)
{
    return static_cast<int>(std::strtol(s.c_str(), nullptr, 0));
}

std::string FromInt(int value, unsigned int base)
{
    return FromSigned(value, base);
}

std::string FromInt64(std::int64_t value, unsigned int base)
{
    return FromSigned(value, base);
}

std::string FromDouble(double value)
{
    char text[256] = {};
    Core::System::Snprintf(text, sizeof(text), "%lf", value);
    return NoThrow([&] { return std::string(text); });
}

std::string ToLower(const std::string& s)
{
    return Map<std::string>(s, [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
}

std::string ToUpper(const std::string& s)
{
    return Map<std::string>(s, [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
}

int Tokenize(const std::string& s, const std::string& delimiters, std::vector<std::string>* tokens)
{
    if (s.empty() || delimiters.empty() || !tokens) {
        return StatusInvalid;
    }
    const bool done = NoThrow([&] {
        // Gathered apart: growing `tokens` would move `s` if it is one of its elements, and a failure
        // half-way must leave no token behind.
        std::vector<std::string> found;
        std::size_t start = 0;
        std::size_t end = 0;
        while ((end = s.find_first_of(delimiters, start)) != std::string::npos) {
            found.push_back(s.substr(start, end - start));
            start = end + 1;
        }
        found.push_back(s.substr(start));
        tokens->insert(tokens->end(), std::make_move_iterator(found.begin()),
                       std::make_move_iterator(found.end()));
        return true;
    });
    return done ? StatusSuccess : StatusInvalid;
}

std::string Trim(const std::string& s, const std::string& chars)
{
    const std::size_t first = s.find_first_not_of(chars);
    if (first == std::string::npos) {
        return {};
    }
    return NoThrow([&] { return s.substr(first, s.find_last_not_of(chars) - first + 1); });
}

} // namespace Util::String
