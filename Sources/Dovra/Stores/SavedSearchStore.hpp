#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/AtomicFile.hpp"
#include "Stores/PersistentTable.hpp"
#include "Stores/SavedSearchTable.hpp"

namespace dovra {

/// The user's named queries. Saved in the background, the changes of half a second together. Any thread.
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

    /// Why the file could not be read at the start, or not all of it.
    const std::optional<FileError>& loadError() const { return table_->loadError(); }

    /// Adds the query, or replaces the one of that name in its place. White space and line ends at both ends
    /// of the name are dropped; a name of nothing else is ignored.
    void save(std::string_view name, std::string_view query);

    /// False when there is no such name.
    bool remove(std::string_view name);

    /// The query of exactly this name.
    std::optional<std::string> query(std::string_view name) const;

    /// In the order in which they were first saved.
    std::vector<Item> items() const;

    /// Saves now what is not yet saved; returns why that failed.
    std::optional<FileError> flush() { return table_->flush(); }

private:
    std::shared_ptr<PersistentTable<SavedSearchTable>> table_;
};

}  // namespace dovra
