#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Index/FileIndex.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// What `search` (Query/SearchEngine.hpp) should answer, found by asking every entry and sorting everything:
/// a second opinion, from code that shares nothing with the engine but the readers of Unicode text, regular
/// expressions, dates and file contents. Takes the index's read lock. Absent for queries that group by equal
/// contents. The query may be nested a few thousand deep, no more. About a microsecond an entry.
std::optional<SearchResult> slowSearch(const FileIndex& index, std::string_view rawQuery, SortSpec sort,
                                       std::int64_t limit);

}  // namespace dovra
