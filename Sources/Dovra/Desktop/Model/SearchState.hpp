#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Index/FileRow.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// What the panel shows.
struct SearchState {
    std::string query;          ///< the text in the search field
    std::vector<FileRow> rows;  ///< on screen
    std::optional<EntryId> selection;
    std::int64_t totalMatches = 0;        ///< of the query; may exceed the rows
    std::int64_t indexedCount = 0;        ///< entries so far
    bool isIndexing = false;              ///< a scan is running
    bool navigating = false;              ///< the selection was moved by keys since the query was edited
    std::int64_t focusRequestToken = 0;   ///< grows whenever the search field is to take the keyboard
    bool usedFuzzyFallback = false;       ///< the rows come from the fuzzy retry
    SortSpec sortOrder;                   ///< chosen at the table's header; never by relevance
    std::optional<std::string> answered;  ///< the query that the rows answer; absent before the first answer
    std::int64_t abandoned = 0;           ///< of that answer; see `SearchResult`
    std::string notice;                   ///< why the last action failed; empty when it did not

    /// The selected row; null when there is none.
    const FileRow* selectedRow() const {
        const auto row = selection ? std::ranges::find(rows, *selection, &FileRow::id) : rows.end();
        return row == rows.end() ? nullptr : &*row;
    }

    /// The query in the language that the rows were found by.
    std::string answeredQuery() const { return (usedFuzzyFallback ? "fuzzy:" : "") + answered.value_or(""); }
};

}  // namespace dovra
