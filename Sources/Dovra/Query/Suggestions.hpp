#pragma once

#include <array>
#include <string_view>

#include "Platform/PlatformWords.hpp"

namespace dovra {

/// A query that shows what the language can do.
struct Suggestion {
    std::string_view query;
    std::string_view note;  ///< what it finds
};

/// Offered to a user who has typed nothing yet.
inline constexpr std::array suggestions = {
    Suggestion{"fuzzy:report", "fuzzy find"}, Suggestion{"ext:pdf", "by type"},
    Suggestion{"size:>1mb", "large files"},   Suggestion{"dupe:content", "duplicates"},
    Suggestion{"tag:work", words::tags},      Suggestion{"empty:", "empty folders"},
};

}  // namespace dovra
