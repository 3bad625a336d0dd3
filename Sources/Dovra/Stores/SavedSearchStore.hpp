#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/AtomicFile.hpp"
#include "Stores/PersistentTable.hpp"

namespace dovra {

/// A query with a name given by the user.
struct SavedSearch {
    std::string name;  ///< not empty, no white space at its ends
    std::string query;

    bool operator==(const SavedSearch&) const = default;
};

/// Additions, replacements and removals in their order.
class SavedSearchChanges {
public:
    struct Change {
        std::string name;
        std::optional<std::string> query;  ///< absent: the name is removed
    };

    SavedSearchChanges() = default;
    explicit SavedSearchChanges(Change change) { changes_.push_back(std::move(change)); }

    bool isEmpty() const { return changes_.empty(); }
    const std::vector<Change>& inOrder() const { return changes_; }

    void apply(const SavedSearchChanges& later) {
        changes_.insert(changes_.end(), later.changes_.begin(), later.changes_.end());
    }

private:
    std::vector<Change> changes_;
};

/// Saved searches in the order in which they were first saved. Names are unique, byte for byte.
///
/// As text: a JSON array of objects with "name" and "query" (as `textFromBytes` writes them).
class SavedSearchTable {
public:
    using Changes = SavedSearchChanges;

    struct Decoded;

    /// A name that exists keeps its place.
    void apply(const SavedSearchChanges& changes);

    const std::vector<SavedSearch>& items() const { return items_; }
    std::optional<std::string> query(std::string_view name) const;

    std::string encode() const;

    /// Absent when the text is no JSON array. A malformed element is left out; of equal names the first gives
    /// the place and the last the query.
    static std::optional<Decoded> decode(std::string_view text);

private:
    void save(const std::string& name, const std::string& query);

    std::vector<SavedSearch> items_;
};

struct SavedSearchTable::Decoded {
    SavedSearchTable table;
    bool isWhole = true;  ///< false when an element was left out
};

/// The user's named queries. The changes of half a second are saved together, in the background. Any thread
/// may call it.
class SavedSearchStore {
public:
    using Item = SavedSearch;

    /// "saved-searches.json" in the folder of the program's files; absent when there is no such folder.
    static std::optional<std::string> defaultURL();

    /// Loads the list; a missing or bad file gives an empty one. Without a location the store is in memory
    /// only.
    explicit SavedSearchStore(std::optional<std::string> fileURL);

    /// Whether the list outlasts the process.
    bool hasFile() const { return table_->hasFile(); }

    /// The error of reading the file at the start, or a part of it; absent when there was none.
    const std::optional<FileError>& loadError() const { return table_->loadError(); }

    /// Adds the query, or replaces the one of that name in its place. White space and line ends at both ends
    /// of the name are dropped; a name of nothing else is not saved.
    void save(std::string_view name, std::string_view query);

    /// False when there is no such name.
    bool remove(std::string_view name);

    /// The query of exactly this name.
    std::optional<std::string> query(std::string_view name) const;

    /// In the order in which they were first saved.
    std::vector<Item> items() const;

    /// Takes over what other processes have saved.
    void refresh() { table_->refresh(); }

    /// Saves all unsaved changes now. Returns the error of a failure.
    std::optional<FileError> flush() { return table_->flush(); }

private:
    std::shared_ptr<PersistentTable<SavedSearchTable>> table_;
};

}  // namespace dovra
