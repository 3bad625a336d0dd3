#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Analysis/FolderSums.hpp"
#include "Index/FileRow.hpp"
#include "Query/TextRange.hpp"
#include "Servers/Http/PageContext.hpp"
#include "Servers/Http/SearchParameters.hpp"

namespace dovra {

struct SearchRow {
    FileRow file;
    std::vector<TextRange> marks = {};  ///< where the query stands in the name
    /// What a folder holds, if it was listed.
    std::optional<FolderSum> contents = {};
};

/// Files with equal contents, as far as they stand on this page.
struct DuplicateSet {
    std::size_t firstRow;  ///< its rows reach to those of the next set
    std::size_t copies;    ///< on all pages
    std::uint64_t bytesEach;

    /// What keeping one copy would free.
    std::uint64_t reclaimableBytes() const { return bytesEach * (copies - 1); }
};

struct DuplicateSummary {
    std::size_t sets = 0;
    std::uint64_t reclaimableBytes = 0;
};

/// The data of the search page and of its JSON form.
struct SearchPage {
    SearchParameters parameters;
    IndexState index;
    /// The search behind the rows: the parameters, or on the start page the recent changes.
    SearchParameters shown = {};
    std::vector<SearchRow> rows = {};
    std::int64_t total = 0;  ///< all results
    /// Whether the rows have the requested order. Otherwise they come by score, in sets, or unsorted because
    /// there are more than `FileIndex::sortCap`.
    bool isSorted = true;
    std::int64_t abandoned = 0;           ///< names for which a regular expression took too long
    std::vector<DuplicateSet> sets = {};  ///< when duplicates by content were asked for
    std::optional<DuplicateSummary> duplicates = {};
    double milliseconds = 0;  ///< what the search took
};

/// Searches, unless the parameters have a fault: then there are no rows.
SearchPage makeSearchPage(const PageContext& context, SearchParameters parameters);

/// Whether the answer may take long, because it reads files.
bool readsFiles(const SearchParameters& parameters);

}  // namespace dovra
