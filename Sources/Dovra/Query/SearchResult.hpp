#pragma once

#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <vector>

#include "Index/FileRow.hpp"

namespace dovra {

/// The order of a result.
struct SortSpec {
    enum class Key : std::uint8_t {
        name,
        path,
        size,
        modified,
        relevance,  ///< best first, when ascending
    };

    Key key = Key::name;
    bool ascending = true;
};

/// The rows of a result from the one behind the first `offset` on, at most `count`; neither is negative.
struct ResultPage {
    std::int64_t offset = 0;
    std::int64_t count = 0;
};

struct SearchResult {
    std::vector<FileRow> rows;
    std::int64_t total = 0;  ///< all matches, before the limit
    /// Names or paths on which a regular expression took too many steps. They count as no match, so the
    /// result may be incomplete.
    std::int64_t abandoned = 0;
};

/// A message to the user about abandoned matches; empty when there are none.
inline std::string abandonedNote(std::int64_t abandoned) {
    if (abandoned == 0) return {};
    return fmt::format("{} name(s) took the regular expression too many steps and count as no match",
                       abandoned);
}

}  // namespace dovra
