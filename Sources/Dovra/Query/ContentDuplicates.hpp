#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "Analysis/DuplicateFinder.hpp"
#include "Analysis/Hashing.hpp"
#include "Query/QueryParser.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The sets of files with equal contents among the query's matches, largest files first. The members of a set
/// come by ascending identifier. Of several names of one file only the first counts. `dupe:content` in the
/// query makes no difference.
///
/// The index's read lock is taken to collect the matches and to build the rows, but not while contents are
/// read. Reading may take minutes, so no other thread may wait for the calling one. Files whose entries
/// change or go meanwhile are left out. `progress`, if given, outlives the call.
std::vector<DuplicateGroup> findContentDuplicates(const FileIndex& index, const CompiledQuery& query,
                                                  HashProgress* progress = nullptr);

/// The same sets as a search result: one behind the other, cut at `limit` rows.
SearchResult searchContentDuplicates(const FileIndex& index, const CompiledQuery& query, std::int64_t limit);

}  // namespace dovra
