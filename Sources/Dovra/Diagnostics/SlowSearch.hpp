#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Index/FileIndex.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The expected answer of `search` (Query/SearchEngine.hpp), found by testing every entry and sorting all
/// matches. It is a second opinion: only the readers of Unicode text, regular expressions, dates and file
/// contents are shared with the engine. Takes the index's read lock. Absent for queries that group by equal
/// contents. The query may be nested a few thousand deep, no more. About a microsecond an entry.
std::optional<SearchResult> slowSearch(const FileIndex& index, std::string_view rawQuery, SortSpec sort,
                                       std::int64_t limit);

}  // namespace dovra

/// A second reader of the query language, by recursive descent and without regard to speed. The self test
/// compares the search engine with it.
namespace dovra::slow {

/// An entry for the tests of a slow query. Every text is built anew at every call. The index's lock is held.
struct Entry {
    const FileIndex& index;
    EntryId id;

    const FileEntry& record() const { return index.entriesLocked()[static_cast<std::size_t>(id)]; }
    std::string name() const { return std::string(index.nameLocked(id)); }
    std::string folder() const { return index.directoriesLocked().path(record().dirIndex); }
    std::string fullPath() const;
};

using Test = std::function<bool(const Entry&)>;

/// A term of plain text on names or stems.
struct PlainText {
    std::string text;
    bool caseSensitive;
};

/// A parsed query: its test, and its other requests.
struct Query {
    Test test;
    std::function<std::optional<std::int32_t>(const std::string& name)> fuzzy;    ///< empty without one
    std::function<std::optional<std::int32_t>(const std::string& name)> similar;  ///< the same
    std::optional<PlainText> plainText;  ///< of the first such term that is not negated
    bool wantsDuplicates = false;
    bool wantsContentDuplicates = false;
    bool wantsEmptyFolders = false;
};

/// Reads a query. Recursive: a query may be nested a few thousand deep, no more.
Query parse(std::string_view text);

}  // namespace dovra::slow

/// A second version of the matching rules of the query language, in the most obvious way. The self test
/// compares the search engine with it. It shares no code with the engine's matchers, copies texts freely and
/// takes no shortcut.
namespace dovra::slow {

/// "A" to "Z" as "a" to "z", all other bytes as they are.
std::string folded(const std::string& text);

/// Whether the text contains the needle, both folded unless `caseSensitive`.
bool contains(const std::string& text, const std::string& needle, bool caseSensitive);

/// Whether the wildcard pattern matches the whole text, byte by byte. Takes time in proportion to the product
/// of both lengths.
bool globMatches(const std::string& pattern, const std::string& text, bool caseSensitive);

/// The name up to its last dot. The whole name when it has none, or when the last dot stands first.
std::string stem(const std::string& name);

/// The text behind the name's last dot; absent without a dot.
std::optional<std::string> extension(const std::string& name);

/// The score of the term as a subsequence of the name; absent when it is no subsequence.
std::optional<std::int32_t> fuzzyScore(const std::string& term, const std::string& name, bool caseSensitive);

/// The share of trigrams that the two texts have in common, in thousandths; absent below 0.3.
std::optional<std::int32_t> similarScore(const std::string& sample, const std::string& name);

/// The place of a query's first plain term in a name, smaller is better: 0 the whole name, 1 its stem, 2 its
/// start, 3 the start of a word, 4 anywhere else, 5 nowhere.
int matchPlace(const std::string& term, const std::string& name, bool caseSensitive);

}  // namespace dovra::slow
