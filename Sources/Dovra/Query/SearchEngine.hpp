#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "Index/EntrySet.hpp"
#include "Index/FileIndex.hpp"
#include "Query/QueryParser.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// Answers a query, for every front end. The index's read lock is held throughout, except while contents are
/// read. More than `FileIndex::sortCap` matches come unsorted, in the index's order. Fuzzy and similarity
/// matches come by score, best first, whatever the sort; only a descending sort by relevance reverses them.
/// Duplicates by content come in their sets. At most `limit` rows are built.
SearchResult search(const FileIndex& index, const CompiledQuery& query, SortSpec sort, std::int64_t limit);
SearchResult search(const FileIndex& index, std::string_view rawQuery, SortSpec sort, std::int64_t limit);

/// As `search`, for one page of what is found: only its rows are built. Not for duplicates by content.
SearchResult searchPage(const FileIndex& index, const CompiledQuery& query, SortSpec sort, ResultPage page);

/// The counts of a `SearchResult`, without its rows.
struct SearchCounts {
    std::int64_t total = 0;
    std::int64_t abandoned = 0;
};

/// As `search`, but visits only the full path of each match. A path is valid during its visit. The index's
/// read lock is held during visits, except for duplicates by content.
SearchCounts searchPaths(const FileIndex& index, const CompiledQuery& query, SortSpec sort,
                         std::int64_t limit, const std::function<void(std::string_view path)>& visit);

/// The live entries that match the query's terms; only empty folders if the query asks for these. The caller
/// filters duplicates. The index's read lock is held.
EntrySet matchesLocked(const FileIndex& index, const CompiledQuery& query);

/// The entries to which the attached trigram index narrows the query; absent without such an index, and when
/// it cannot narrow the query. The index's read lock is held.
std::optional<std::vector<EntryId>> trigramCandidatesLocked(const FileIndex& index, const QueryTree& tree);

/// Whether the entry is a listed folder without a live entry. The index's read lock is held.
bool isEmptyFolderLocked(const FileIndex& index, EntryId id);

}  // namespace dovra
