#include "launcher/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace Framegrab {

std::string Count(std::uint64_t count, const std::string& thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

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

std::string Number(double number)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.6g", number);
    return text;
}

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

bool IsUtf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t size = SizeOfCharacter(text);
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

std::string EscapedForHtml(std::string_view text)
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

std::string EncodedForUrl(std::string_view path)
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

std::string Base64(std::string_view bytes)
{
    constexpr std::string_view Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (; !bytes.empty(); bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 3))) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= bytes.size() ? Digits[group >> (18 - 6 * i) & 63] : '=';
        }
    }
    return text;
}

} // namespace Framegrab
