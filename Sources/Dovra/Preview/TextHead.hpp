#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// How much of a text file is shown.
inline constexpr std::size_t textHeadBytes = std::size_t{64} * 1024;

/// The text at the start of a file, given its first bytes, at most `textHeadBytes` of them. Ill-formed UTF-8
/// is repaired, and a character that the end of a longer file's head cuts is left out. Absent for a binary
/// file: one with a NUL, or with more control characters than text has. A page description counts as binary.
std::optional<std::string> textOfHead(std::string_view head);

/// Whether a text file with this start describes a drawing.
bool isDrawing(std::string_view head);

}  // namespace dovra
