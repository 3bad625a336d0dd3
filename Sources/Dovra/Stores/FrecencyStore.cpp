#include "Stores/FrecencyStore.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <span>
#include <tuple>
#include <utility>

#include "Base/JSONValue.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

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

/// The sum, or the largest number instead of an overflow.
std::int64_t sum(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (!__builtin_add_overflow(a, b, &result)) return result;
    return a < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

/// Seconds, which may be written without a fraction.
std::optional<double> decodeTime(const JSONValue& value) {
    if (const double* floating = value.floating()) return *floating;
    if (const std::int64_t* integer = value.integer()) return static_cast<double>(*integer);
    return std::nullopt;
}

std::optional<FrecencyEntry> decodeEntry(const JSONValue& value) {
    const JSONObject* object = value.object();
    const JSONValue* count = object != nullptr ? object->find("count") : nullptr;
    const JSONValue* lastAccess = object != nullptr ? object->find("lastAccess") : nullptr;
    const auto time = lastAccess != nullptr ? decodeTime(*lastAccess) : std::nullopt;
    if (count == nullptr || count->integer() == nullptr || !time) return std::nullopt;
    return FrecencyEntry{*count->integer(), *time};
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
    // Of equal scores the latest open stays. The path decides between equal times, so the choice is the same
    // everywhere.
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
    std::vector<JSONObject::Member> members;
    for (const auto& [path, entry] : entries_)
        members.push_back(
            {textFromBytes(path), JSONObject{{"count", entry.count}, {"lastAccess", entry.lastAccess}}});
    return JSONValue(JSONObject(std::move(members))).serializedString();
}

std::optional<FrecencyTable::Decoded> FrecencyTable::decode(std::string_view text) {
    const auto document = JSONValue::parse(text);
    if (!document || document->object() == nullptr) return std::nullopt;
    Decoded decoded;
    double latest = 0;
    for (const auto& [key, value] : document->object()->members()) {
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

double FrecencyStore::systemTime() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::optional<std::string> FrecencyStore::defaultURL() {
    return storeLocation("frecency.json");
}

FrecencyStore::FrecencyStore(std::optional<std::string> fileURL, Clock now)
    : now_(std::move(now)),
      table_(std::make_shared<PersistentTable<FrecencyTable>>(
          PersistentTable<FrecencyTable>::Options{.path = std::move(fileURL),
                                                  .queueLabel = "dovra.frecency",
                                                  .saveDelay = std::chrono::seconds(2)})) {}

void FrecencyStore::recordOpen(std::string_view path) {
    table_->change(FrecencyTable::open(path, now_()));
}

std::int32_t FrecencyStore::boost(std::string_view path) const {
    const auto entry = table_->read([&](const FrecencyTable& table) { return table.find(path); });
    return entry ? entry->boost(now_()) : 0;
}

std::vector<PathBoost> FrecencyStore::boosts() const {
    return table_->read([now = now_()](const FrecencyTable& table) { return table.boosts(now); });
}

FrecencyTable FrecencyStore::table() const {
    return table_->read([](const FrecencyTable& table) { return table; });
}

}  // namespace dovra
