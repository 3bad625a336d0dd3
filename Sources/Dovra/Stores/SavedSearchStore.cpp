#include "Stores/SavedSearchStore.hpp"

#include <algorithm>
#include <chrono>
#include <unordered_map>
#include <utility>

#include "Base/JSONValue.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

std::optional<std::string> decodeText(const JSONObject& object, std::string_view key) {
    const JSONValue* value = object.find(key);
    if (value == nullptr || value->string() == nullptr) return std::nullopt;
    return bytesFromText(*value->string());
}

std::optional<SavedSearch> decodeItem(const JSONValue& value) {
    if (value.object() == nullptr) return std::nullopt;
    const auto name = decodeText(*value.object(), "name");
    auto query = decodeText(*value.object(), "query");
    if (!name || !query || trimmedWhiteSpace(*name).empty()) return std::nullopt;
    return SavedSearch{std::string(trimmedWhiteSpace(*name)), std::move(*query)};
}

}  // namespace

void SavedSearchTable::save(const std::string& name, const std::string& query) {
    const auto found = std::ranges::find(items_, name, &SavedSearch::name);
    if (found == items_.end()) {
        items_.push_back({name, query});
    } else {
        found->query = query;
    }
}

void SavedSearchTable::apply(const SavedSearchChanges& changes) {
    for (const auto& [name, query] : changes.inOrder()) {
        if (query) {
            save(name, *query);
        } else {
            std::erase_if(items_, [&](const SavedSearch& item) { return item.name == name; });
        }
    }
}

std::optional<std::string> SavedSearchTable::query(std::string_view name) const {
    const auto found = std::ranges::find(items_, name, &SavedSearch::name);
    return found == items_.end() ? std::nullopt : std::optional(found->query);
}

std::string SavedSearchTable::encode() const {
    JSONValue::Array array;
    for (const auto& [name, query] : items_)
        array.push_back(JSONObject{{"name", textFromBytes(name)}, {"query", textFromBytes(query)}});
    return JSONValue(std::move(array)).serializedString();
}

std::optional<SavedSearchTable::Decoded> SavedSearchTable::decode(std::string_view text) {
    const auto document = JSONValue::parse(text);
    if (!document || document->array() == nullptr) return std::nullopt;
    Decoded decoded;
    auto& items = decoded.table.items_;
    // Keeps the cost of a long file linear.
    std::unordered_map<std::string, std::size_t> places;
    for (const JSONValue& element : *document->array()) {
        auto item = decodeItem(element);
        decoded.isWhole = decoded.isWhole && item;
        if (!item) continue;
        const auto [place, isNew] = places.emplace(item->name, items.size());
        if (isNew) {
            items.push_back(std::move(*item));
        } else {
            items[place->second].query = std::move(item->query);
        }
    }
    return decoded;
}

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
