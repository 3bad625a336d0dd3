#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// Raw bytes as well-formed UTF-8 from which they can be had back, for formats that hold text only.
/// Well-formed bytes stay as they are. A byte that belongs to no well-formed sequence, and NUL itself, become
/// U+0000 and two capital hexadecimal digits: NUL occurs in no path, so no name that means something else is
/// in the way.
std::string textFromBytes(std::string_view bytes);

/// The bytes that `textFromBytes` made the text of; absent when the text has a U+0000 that does not stand
/// before such digits, or when it is not well-formed.
std::optional<std::string> bytesFromText(std::string_view text);

}  // namespace dovra
