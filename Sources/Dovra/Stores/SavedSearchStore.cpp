#include "Stores/SavedSearchStore.hpp"

#include <chrono>
#include <utility>

#include "Base/Utf8.hpp"

namespace dovra {

std::optional<std::string> SavedSearchStore::defaultURL() {
    return storeLocation("saved-searches.json");
}

SavedSearchStore::SavedSearchStore(std::optional<std::string> fileURL)
    : table_(std::make_shared<PersistentTable<SavedSearchTable>>(
          PersistentTable<SavedSearchTable>::Options{.path = std::move(fileURL),
                                                     .queueLabel = "dovra.savedsearches",
                                                     .saveDelay = std::chrono::milliseconds(500)})) {}

void SavedSearchStore::save(std::string_view name, std::string_view query) {
    const std::string_view trimmed = trimmedWhiteSpace(name);
    if (trimmed.empty()) return;
    table_->change(SavedSearchChanges({.name = std::string(trimmed), .query = std::string(query)}));
}

bool SavedSearchStore::remove(std::string_view name) {
    if (!query(name)) return false;
    table_->change(SavedSearchChanges({.name = std::string(name), .query = std::nullopt}));
    return true;
}

std::optional<std::string> SavedSearchStore::query(std::string_view name) const {
    return table_->read([&](const SavedSearchTable& table) { return table.query(name); });
}

std::vector<SavedSearch> SavedSearchStore::items() const {
    return table_->read([](const SavedSearchTable& table) { return table.items(); });
}

}  // namespace dovra
