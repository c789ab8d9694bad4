#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Texts for people, browsers and scripts.
namespace Framegrab {

/// @return e.g. "1 frame", "2 frames"
std::string Count(std::uint64_t count, const std::string& thing);

/// @return a size with two digits at least, e.g. "45 kB" and "1.2 MB"
std::string Bytes(std::uint64_t bytes);

/// @return a number with as many digits as are of interest, e.g. "0.25" and "1000"
std::string Number(double number);

/// @return bytes of the UTF-8 character that a text begins with; 0 where there is none
/// @see RFC 3629, section 4
std::size_t SizeOfCharacter(std::string_view text);

bool IsUtf8(std::string_view text);

/// @return a text for the content of an element or a quoted attribute; what HTML cannot hold is U+FFFD
std::string EscapedForHtml(std::string_view text);

/// @return a path as part of an address
/// @see RFC 3986, section 2
std::string EncodedForUrl(std::string_view path);

/// @see RFC 4648, section 4
std::string Base64(std::string_view bytes);

} // namespace Framegrab
