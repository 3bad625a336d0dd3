#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
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

/// The query language read once more, by recursive descent and without regard to speed: the self test
/// compares the search engine with it.
namespace dovra::slow {

/// An entry as the tests of a slow query see it: every text is built anew at every call. The index's lock is
/// held.
struct Entry {
    const FileIndex& index;
    EntryId id;

    const FileEntry& record() const { return index.entriesLocked()[static_cast<std::size_t>(id)]; }
    std::string name() const { return std::string(index.nameLocked(id)); }
    std::string folder() const { return index.directoriesLocked().path(record().dirIndex); }
    std::string fullPath() const;
};

using Test = std::function<bool(const Entry&)>;

/// A term of a query that is plain text on names or stems.
struct PlainText {
    std::string text;
    bool caseSensitive;
};

/// A test, and what else a query asks for.
struct Query {
    Test test;
    std::function<std::optional<std::int32_t>(const std::string& name)> fuzzy;    ///< empty without such term
    std::function<std::optional<std::int32_t>(const std::string& name)> similar;  ///< the same
    std::optional<PlainText> plainText;  ///< the first that is not negated
    bool wantsDuplicates = false;
    bool wantsContentDuplicates = false;
    bool wantsEmptyFolders = false;
};

/// Reads a query. Recursive: a query may be nested a few thousand deep, no more.
Query parse(std::string_view text);

}  // namespace dovra::slow

/// The matching rules of the query language written once more, in the most obvious way: the self test
/// compares the search engine with them. They share no code with the engine's matchers, copy texts freely and
/// take no shortcut.
namespace dovra::slow {

/// "A" to "Z" as "a" to "z", all other bytes as they are.
std::string folded(const std::string& text);

/// Whether the text contains the needle, both folded unless `caseSensitive`.
bool contains(const std::string& text, const std::string& needle, bool caseSensitive);

/// Whether the wildcard pattern describes the whole text, byte by byte. Takes time in proportion to both
/// lengths multiplied.
bool globMatches(const std::string& pattern, const std::string& text, bool caseSensitive);

/// The name without its extension: without its last dot and what follows, unless that dot stands first.
std::string stem(const std::string& name);

/// What follows the name's last dot; absent when there is none.
std::optional<std::string> extension(const std::string& name);

/// The score of the term as a subsequence of the name; absent when it is none.
std::optional<std::int32_t> fuzzyScore(const std::string& term, const std::string& name, bool caseSensitive);

/// The share of trigrams that the two texts have in common, in thousandths; absent below 0.3.
std::optional<std::int32_t> similarScore(const std::string& sample, const std::string& name);

/// How a name meets the text of a query's first plain term, smaller is better: 0 as the whole name, 1 as its
/// stem, 2 at its start, 3 at the start of a word, 4 anywhere else, 5 not at all.
int matchPlace(const std::string& term, const std::string& name, bool caseSensitive);

}  // namespace dovra::slow
