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

/// The columns that the text takes on a terminal, where it holds no control characters.
std::size_t displayColumns(std::string_view bytes);

/// Raw bytes as well-formed UTF-8 from which they can be had back, for formats that hold text only.
/// Well-formed bytes stay as they are. A byte that belongs to no well-formed sequence, and NUL itself, become
/// U+0000 and two capital hexadecimal digits: NUL occurs in no path, so no name that means something else is
/// in the way.
std::string textFromBytes(std::string_view bytes);

/// The bytes that `textFromBytes` made the text of; absent when the text has a U+0000 that does not stand
/// before such digits, or when it is not well-formed.
std::optional<std::string> bytesFromText(std::string_view text);

}  // namespace dovra
