#include "Stores/FrecencyTable.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <tuple>

#include "Base/ByteText.hpp"
#include "Base/JsonText.hpp"

namespace dovra {

namespace {

using nlohmann::json;

constexpr std::size_t mostEntries = 4000;
constexpr std::size_t entriesAfterPruning = 2000;

/// The score that earns the largest boost.
constexpr double fullScore = 18;

double recencyWeight(double age) {
    constexpr double hour = 3600;
    constexpr double day = 24 * hour;
    if (age < hour) return 4;
    if (age < day) return 2;
    if (age < 7 * day) return 1;
    if (age < 30 * day) return 0.5;
    return 0.25;
}

/// Stops at the largest number instead of overflowing.
std::int64_t sum(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (!__builtin_add_overflow(a, b, &result)) return result;
    return a < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

const json* member(const json& object, const char* key) {
    const auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

std::optional<FrecencyEntry> decodeEntry(const json& value) {
    const json* count = value.is_object() ? member(value, "count") : nullptr;
    const json* lastAccess = value.is_object() ? member(value, "lastAccess") : nullptr;
    if (count == nullptr || !count->is_number_integer()) return std::nullopt;
    if (lastAccess == nullptr || !lastAccess->is_number()) return std::nullopt;
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (count->is_number_unsigned() && count->get<std::uint64_t>() > largest) return std::nullopt;
    return FrecencyEntry{count->get<std::int64_t>(), lastAccess->get<double>()};
}

}  // namespace

double FrecencyEntry::score(double now) const {
    return static_cast<double>(count) * recencyWeight(now - lastAccess);
}

std::int32_t FrecencyEntry::boost(double now) const {
    const double share = std::clamp(score(now) / fullScore, 0.0, 1.0);
    return static_cast<std::int32_t>(std::round(share * RankingBoost::largest));
}

FrecencyTable FrecencyTable::open(std::string_view path, double time) {
    FrecencyTable table;
    table.entries_.emplace(path, FrecencyEntry{.count = 1, .lastAccess = time});
    return table;
}

void FrecencyTable::apply(const FrecencyTable& opens) {
    double now = 0;
    for (const auto& [path, opened] : opens.entries_) {
        FrecencyEntry& entry = entries_[path];
        entry = {sum(entry.count, opened.count), opened.lastAccess};
        now = std::max(now, opened.lastAccess);
    }
    if (entries_.size() > mostEntries) prune(now);
}

void FrecencyTable::prune(double now) {
    using Row = decltype(entries_)::value_type;
    std::vector<Row*> rows;
    rows.reserve(entries_.size());
    for (Row& row : entries_)
        rows.push_back(&row);
    // Of equal scores the latest stays; the path makes the choice the same everywhere.
    std::ranges::sort(rows, std::greater<>(), [now](const Row* row) {
        return std::tuple(row->second.score(now), row->second.lastAccess, std::string_view(row->first));
    });
    decltype(entries_) kept;
    for (const Row* row : std::span(rows).first(entriesAfterPruning))
        kept.insert(*row);
    entries_ = std::move(kept);
}

std::optional<FrecencyEntry> FrecencyTable::find(std::string_view path) const {
    const auto found = entries_.find(path);
    return found == entries_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<PathBoost> FrecencyTable::boosts(double now) const {
    std::vector<PathBoost> boosts;
    boosts.reserve(entries_.size());
    for (const auto& [path, entry] : entries_) {
        if (const std::int32_t boost = entry.boost(now); boost > 0) boosts.push_back({path, boost});
    }
    return boosts;
}

std::string FrecencyTable::encode() const {
    json object = json::object();
    for (const auto& [path, entry] : entries_)
        object[textFromBytes(path)] = {{"count", entry.count}, {"lastAccess", entry.lastAccess}};
    return object.dump();
}

std::optional<FrecencyTable::Decoded> FrecencyTable::decode(std::string_view text) {
    const auto object = parseJson(text);
    if (!object || !object->is_object()) return std::nullopt;
    Decoded decoded;
    double latest = 0;
    for (const auto& [key, value] : object->items()) {
        auto path = bytesFromText(key);
        const auto entry = decodeEntry(value);
        if (path && entry) {
            latest = std::max(latest, entry->lastAccess);
            decoded.table.entries_.insert_or_assign(std::move(*path), *entry);
        } else {
            decoded.isWhole = false;
        }
    }
    if (decoded.table.size() > mostEntries) decoded.table.prune(latest);
    return decoded;
}

}  // namespace dovra
