#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "Analysis/DuplicateFinder.hpp"
#include "Analysis/Hashing.hpp"
#include "Query/QueryParser.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The sets of files with equal contents among those that match the query, largest files first, each with its
/// members by ascending identifier; of the names of one file the first alone. Whether the query says
/// `dupe:content` makes no difference.
///
/// Takes the index's read lock to collect the matches and to build the rows, and not for the reading between,
/// which may take minutes: the calling thread must not be one that others wait for. Files whose entry has
/// changed or gone meanwhile are left out. `progress`, if given, outlives the call.
std::vector<DuplicateGroup> findContentDuplicates(const FileIndex& index, const CompiledQuery& query,
                                                  HashProgress* progress = nullptr);

/// The same as the answer of a search: the sets one behind the other, cut at `limit` rows.
SearchResult searchContentDuplicates(const FileIndex& index, const CompiledQuery& query, std::int64_t limit);

}  // namespace dovra
