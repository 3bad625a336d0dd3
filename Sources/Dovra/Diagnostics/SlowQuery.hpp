#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Index/FileIndex.hpp"

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
