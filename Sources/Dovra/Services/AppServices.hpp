#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "Base/Locks.hpp"
#include "Platform/DispatchQueue.hpp"
#include "Platform/EventSource.hpp"
#include "Services/IndexService.hpp"
#include "Services/LiveIndex.hpp"
#include "Stores/FrecencyStore.hpp"
#include "Stores/SavedSearchStore.hpp"

namespace dovra {

/// Owns the index of one root and the user's stores for the life of a front end, and the index's threads. All
/// changes of the index run on one serial queue, "dovra.build", so builds, loads and batches of changes never
/// overlap. Work that only reads runs on queues beside it. Queued work holds the object weakly, and does
/// nothing once it is gone.
///
/// Any thread may call its operations. The callbacks are set before `start`.
class AppServices final : public IndexService, public std::enable_shared_from_this<AppServices> {
public:
    struct Options {
        std::string root = "/";  ///< absolute, without a slash at its end
        bool usesTrigram = false;
        WatchMechanism mechanism = WatchMechanism::best;
        /// Runs the callbacks to the user interface on the main queue; by default on the calling thread.
        std::function<void(DispatchQueue::Work)> postToMain = [](const DispatchQueue::Work& work) { work(); };
        /// Takes a message for the user, such as that the root is gone.
        std::function<void(const std::string&)> report = [](const std::string&) {};
    };

    static std::shared_ptr<AppServices> make(Options options);

    /// Ends builds at once and saves nothing; see `close`.
    ~AppServices() override;
    AppServices(const AppServices&) = delete;
    AppServices& operator=(const AppServices&) = delete;

    FrecencyStore& frecency() { return *frecency_; }
    SavedSearchStore& savedSearches() { return savedSearches_; }
    /// Takes over the searches that other processes have saved, which may wait for the disk. Returns at once.
    /// `refreshed` is called on the main queue.
    void refreshSavedSearches(std::function<void()> refreshed);
    /// For searches of a user interface, off its main thread.
    DispatchQueue& searchQueue() { return searchQueue_; }

    /// Called on the main queue with the number of entries, and whether a scan is running.
    std::function<void(std::int64_t entryCount, bool stillScanning)> onProgress;
    /// Called on the main queue after a load, a build or a batch of changes has changed the index.
    std::function<void()> onIndexUpdated;

    /// Loads the index from the cache or scans, and keeps it current from then on.
    void start(std::function<void()> onReady) override;
    void start() { start({}); }

    /// Builds the index anew, as after a loss of changes. It is not ready until that is done; the former
    /// contents may be searched meanwhile.
    void rebuild();

    /// Switches the trigram index on or off, and rebuilds. Returns whether it is on now.
    bool toggleTrigram();

    /// Saves the user's stores now, and reports a failure.
    void saveStores();

    /// An orderly end: stops watching and building, and saves the stores, and the index if it changed since
    /// the last save. Returns when that is done. No operation may be called afterwards.
    void close();

    /// Tells of the end. Searches that read files must heed it: they hold the index's lock, so nothing else
    /// could end.
    std::stop_token closing() const { return stop_.get_token(); }

    bool waitUntilReady(std::chrono::milliseconds deadline) override;
    bool flush(std::chrono::milliseconds deadline) override;
    const FileIndex& index() const override { return live_.index(); }
    const std::string& root() const override { return options_.root; }
    IndexStatus status() const override;

private:
    explicit AppServices(Options options);

    LiveIndex::Options liveOptions();
    std::unique_ptr<ChangeFeed> openFeed();

    /// Runs `operation` on the build queue, then the tasks that are due; nothing once this is gone or
    /// closing.
    void run(std::function<void(LiveIndex&)> operation);
    void runBeside(LiveIndex::Task task);
    void build(std::function<void(LiveIndex&)> ask);
    void publish();
    void scheduleStep();

    const Options options_;
    std::stop_source stop_;
    DispatchQueue searchQueue_{"dovra.search", QualityOfService::userInteractive};
    std::shared_ptr<FrecencyStore> frecency_;
    SavedSearchStore savedSearches_;
    DispatchQueue refreshQueue_{"dovra.refresh", QualityOfService::userInitiated};
    DispatchQueue buildQueue_{"dovra.build", QualityOfService::userInitiated};
    DispatchQueue savingQueue_{"dovra.saving", QualityOfService::userInitiated};
    DispatchQueue readingQueue_{"dovra.reading", QualityOfService::background};

    mutable Mutex mutex_;
    ConditionVariable statusChanged_;
    IndexStatus status_ DOVRA_GUARDED_BY(mutex_);
    bool usesTrigram_ DOVRA_GUARDED_BY(mutex_);
    int rebuildsAsked_ DOVRA_GUARDED_BY(mutex_) = 0;  ///< requests that the queue has not reached

    // Used on the build queue only; any thread may read the index itself.
    std::function<void()> onReady_;
    LiveIndex::Time scheduledStep_ = LiveIndex::Time::max();
    LiveIndex live_;
};

}  // namespace dovra
