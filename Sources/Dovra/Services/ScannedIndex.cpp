#include "Services/ScannedIndex.hpp"

#include <memory>
#include <utility>

#include "Index/Crawl.hpp"
#include "Platform/CurrentThread.hpp"
#include "Stores/FrecencyStore.hpp"

namespace dovra {

ScannedIndex::ScannedIndex(std::string root, bool usesTrigram) : root_(std::move(root)) {
    if (usesTrigram) index_.attachTrigramIndex(std::make_shared<TrigramIndex>());
    index_.setFrecency(std::make_shared<FrecencyStore>(FrecencyStore::defaultURL()));
}

ScannedIndex::~ScannedIndex() = default;

void ScannedIndex::start(std::function<void()> onReady) {
    scanner_ = std::jthread([this, onReady = std::move(onReady)](const std::stop_token& stop) {
        setCurrentThreadName("dovra.build");
        scan(stop, onReady);
    });
}

void ScannedIndex::scan(const std::stop_token& stop, const std::function<void()>& onReady) {
    crawl(index_, {root_}, {.stop = stop});
    if (stop.stop_requested()) return;
    promise_.set_value();
    if (onReady) onReady();
}

bool ScannedIndex::waitUntilReady(std::chrono::milliseconds deadline) {
    return isReady_.wait_for(deadline) == std::future_status::ready;
}

}  // namespace dovra
