#include "Stores/FrecencyStore.hpp"

#include <chrono>
#include <utility>

namespace dovra {

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
