#pragma once

#include <array>
#include <string_view>

#include "Query/SearchResult.hpp"

namespace dovra {

/// A word that a result can be sorted by; those with a title are columns of a table of results.
struct SortColumn {
    std::string_view word;
    SortSpec::Key key;
    std::string_view title;
    bool startsAscending;  ///< when it is chosen first
};

inline constexpr std::array sortColumns = {
    SortColumn{"name", SortSpec::Key::name, "Name", true},
    SortColumn{"path", SortSpec::Key::path, "Path", true},
    SortColumn{"size", SortSpec::Key::size, "Size", false},
    SortColumn{"date_modified", SortSpec::Key::modified, "Date Modified", false},
    SortColumn{"relevance", SortSpec::Key::relevance, "", true},
};

}  // namespace dovra
