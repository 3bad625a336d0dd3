#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// Whether `bytes` is well-formed UTF-8 (no surrogates, no overlong forms, nothing above U+10FFFF).
bool isValidUtf8(std::string_view bytes);

/// The length of the longest start of `bytes` that is well-formed.
std::size_t wellFormedPrefix(std::string_view bytes);

/// The text with every ill-formed sequence replaced by U+FFFD, one for each maximal ill-formed subpart (the
/// practice that the Unicode Standard recommends). Well-formed input comes back unchanged.
std::string repairUtf8(std::string_view bytes);

/// The text as it may be shown on a terminal: repaired, and every control character (C0, DEL and C1) made
/// visible as "\n", "\t", "\r" or "\xHH", so that a name cannot move the cursor or restyle the screen.
std::string visibleText(std::string_view bytes);

/// The text without the white space (also Unicode's) and line ends at both its ends.
std::string_view trimmedWhiteSpace(std::string_view bytes);

/// The text's first so many characters as a person counts them: letters with their accents, whole pictures.
std::string_view firstCharacters(std::string_view utf8, std::size_t count);

/// The columns of a text without control characters on a terminal.
std::size_t displayColumns(std::string_view bytes);

/// Encodes raw bytes as well-formed UTF-8, reversibly, for formats that hold text only. Well-formed bytes
/// stay as they are. A byte that belongs to no well-formed sequence, and NUL itself, become U+0000 and two
/// capital hexadecimal digits. NUL occurs in no path, so the form of a path is unique.
std::string textFromBytes(std::string_view bytes);

/// The inverse of `textFromBytes`; absent when the text is ill-formed or has a U+0000 without such digits
/// behind it.
std::optional<std::string> bytesFromText(std::string_view text);

}  // namespace dovra
