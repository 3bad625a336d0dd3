#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// Levels of arrays and objects that `parseJson` goes down: far more than any format of ours has, and few
/// enough for whoever walks the value by recursion.
inline constexpr int maxJsonDepth = 64;

/// Reads one JSON value. Absent when the text is not JSON, not UTF-8, or nested deeper than `maxJsonDepth`.
/// The last of several equal keys counts.
std::optional<nlohmann::json> parseJson(std::string_view text);

}  // namespace dovra
