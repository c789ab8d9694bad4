#pragma once

#include "Util/Export.h"

#include <cstdint>
#include <string>
#include <vector>

/// Numbers to text and back, letter case, splitting and trimming.
///
/// Strings are sequences of bytes, NUL among them, in no particular encoding. The functions keep no state and
/// may be called from any thread. They throw nothing: where there is no memory for the result, it is empty.
namespace Util::String {

/// @return a string of the same length: each byte, as a value of 0 to 255, becomes the wide character of that
///         value
UTIL_EXPORT std::wstring ToWString(const std::string& s);

/// @return a string of the same length: each wide character is cut to its low 8 bits
UTIL_EXPORT std::string FromWString(const std::wstring& s);

/// Reads a number as `strtol` does with base 0: white space and a sign may stand before it, `0x` makes it
/// hexadecimal, a leading `0` octal, and it ends at the first byte that does not fit.
///
/// @return the low 32 bits of the number, 0 where the text begins with none. A number outside of 64 bits is
///         taken as the nearest that fits, so that one too large gives -1 and one too small 0.
UTIL_EXPORT int ToInt(const std::string& s);

/// @param base  8, 10 or 16
/// @return the value with its sign in base 10; its 32 bits, unsigned, as `0` and octal digits in base 8 or
///         `0x` and lower-case hexadecimal ones in base 16, the prefix being there for 0 too (`00`, `0x0`);
///         empty for any other base
UTIL_EXPORT std::string FromInt(int value, unsigned int base);

/// As `FromInt`, with 64 bits.
UTIL_EXPORT std::string FromInt64(std::int64_t value, unsigned int base);

/// @return the value as printf's `%lf` prints it, with six decimals; what exceeds 255 characters is cut off
UTIL_EXPORT std::string FromDouble(double value);

/// @return a copy with each byte passed through `tolower`: the process's locale says what a letter is
UTIL_EXPORT std::string ToLower(const std::string& s);

/// @return a copy with each byte passed through `toupper`: the process's locale says what a letter is
UTIL_EXPORT std::string ToUpper(const std::string& s);

/// Splits a text at every byte that is a delimiter. Two delimiters in a row have an empty token between them,
/// and one at either end of the text has an empty token beyond it; a text without any is one token.
///
/// @param s           text; may be an element of `tokens`
/// @param delimiters  set of single bytes
/// @param tokens      gets the tokens behind those that it already holds
/// @return 0; 6 where `s` or `delimiters` is empty, `tokens` is null or memory ran out: nothing is appended
///         then
UTIL_EXPORT int Tokenize(const std::string& s, const std::string& delimiters,
                         std::vector<std::string>* tokens);

/// @param chars  set of single bytes
/// @return `s` without the bytes of the set that it begins and ends with
UTIL_EXPORT std::string Trim(const std::string& s, const std::string& chars);

} // namespace Util::String
