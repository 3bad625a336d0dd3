#include "Stores/SavedSearchTable.hpp"

#include <algorithm>
#include <unordered_map>

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
    // So that a long file costs no more than its length.
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

}  // namespace dovra
