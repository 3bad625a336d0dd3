#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Base/TextNeedle.hpp"

namespace dovra {

struct MatchingLine {
    std::int64_t number;  ///< from 1
    std::string text;     ///< cleaned
    bool operator==(const MatchingLine&) const = default;
};

/// The part of a file that is searched.
inline constexpr std::size_t mostGrepBytes = std::size_t{32} * 1024 * 1024;

/// The first `mostLines` lines of the file that contain the text. A file with a zero byte in its first 8 KiB
/// is binary and has none. Absent when the path leads to no regular file, or when reading fails. Ends soon
/// after a request to stop; the result is then worthless.
std::optional<std::vector<MatchingLine>> grepFile(const std::string& path, const TextNeedle& needle,
                                                  std::size_t mostLines, const std::stop_token& stop = {});

/// The line without carriage returns, spaces and tabs at its end, cut to 240 characters and "…".
std::string cleanLine(std::string_view line);

}  // namespace dovra
