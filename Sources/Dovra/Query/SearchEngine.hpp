#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Query/EntrySet.hpp"
#include "Query/QueryParser.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// Answers a query: the one way by which every front end searches. Takes the index's read lock for its whole
/// duration. More than `FileIndex::sortCap` matches come unsorted, in the index's order; fuzzy and similarity
/// queries come by score, best first, whatever `sort` asks for; only a descending sort by relevance turns
/// that around. Only `limit` rows are built. Duplicates by content come in their sets; the lock is not held
/// while contents are read.
SearchResult search(const FileIndex& index, const CompiledQuery& query, SortSpec sort, std::int64_t limit);
SearchResult search(const FileIndex& index, std::string_view rawQuery, SortSpec sort, std::int64_t limit);

/// As `search`, for one page of what is found: only its rows are built. Not for duplicates by content.
SearchResult searchPage(const FileIndex& index, const CompiledQuery& query, SortSpec sort, ResultPage page);

/// What a `SearchResult` holds beside its rows.
struct SearchCounts {
    std::int64_t total = 0;
    std::int64_t abandoned = 0;
};

/// As `search`, for whoever wants nothing but the full paths: visits each, which is valid during that visit.
/// The visits are made under the index's read lock, if the query asks for no duplicates by content.
SearchCounts searchPaths(const FileIndex& index, const CompiledQuery& query, SortSpec sort,
                         std::int64_t limit, const std::function<void(std::string_view path)>& visit);

/// What a query asks of the index that is to answer it.
struct QueryNeeds {
    ListingDetail detail = ListingDetail::namesAndTypes;
};

/// So that whoever scans only to answer one query reads no more than that.
QueryNeeds queryNeeds(const CompiledQuery& query, SortSpec sort);

/// The live entries that match the query's terms and, if it asks for them, are empty folders. What it says of
/// duplicates is the caller's business. The index's read lock is held.
EntrySet matchesLocked(const FileIndex& index, const CompiledQuery& query);

/// The entries to which the attached trigram index narrows the query; absent when there is none or it cannot
/// narrow. The index's read lock is held.
std::optional<std::vector<EntryId>> trigramCandidatesLocked(const FileIndex& index, const QueryTree& tree);

/// Whether the entry is a folder that was listed and has no live entry in it. The index's read lock is held.
bool isEmptyFolderLocked(const FileIndex& index, EntryId id);

}  // namespace dovra
