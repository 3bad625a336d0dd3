#pragma once

#include <cstdint>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Query/QueryParser.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The first `limit` of the matches (ascending identifiers) in the order of `spec`; equal keys
/// keep the index's order in both directions. Only these are sorted, the others are told apart from them.
/// `query` says what relevance means; the index's frecency lifts matches in that order. The index's read lock
/// is held.
std::vector<EntryId> sortMatchesLocked(const FileIndex& index, std::vector<EntryId> matches, SortSpec spec,
                                       const CompiledQuery& query, std::int64_t limit);

/// The same by the score of the query's first fuzzy or similarity term plus the frecency boost, highest
/// first, then the shorter name, then the name; `bestFirst` false turns that around. An entry without a score
/// counts as 0.
std::vector<EntryId> scoreSortLocked(const FileIndex& index, const std::vector<EntryId>& matches,
                                     bool bestFirst, const CompiledQuery& query, std::int64_t limit);

}  // namespace dovra
