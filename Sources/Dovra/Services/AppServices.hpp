#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

#include "Index/Crawl.hpp"
#include "Index/FileIndex.hpp"
#include "Index/IndexCache.hpp"
#include "Platform/ChangeBatch.hpp"
#include "Platform/ChangeSet.hpp"
#include "Platform/DispatchQueue.hpp"
#include "Services/FSEventsWatcher.hpp"
#include "Services/IndexService.hpp"
#include "Stores/FrecencyStore.hpp"
#include "Stores/SavedSearchStore.hpp"

namespace dovra {

/// What lives as long as a front end does: the index of one root, its cache file, what keeps it current, and
/// the user's stores. Everything that changes the index or writes its cache runs on one serial queue, so
/// builds, loads, saves and batches of changes never overlap. Held by a shared pointer: queued work holds it
/// weakly and does nothing once it is gone.
///
/// Any thread may call its operations. The callbacks are set before `start`.
class AppServices final : public IndexService, public std::enable_shared_from_this<AppServices> {
public:
    struct Options {
        std::string root = "/";  ///< absolute, without a slash at its end
        bool usesTrigram = false;
        /// Runs what concerns the user interface on the main queue; by default where it came up.
        std::function<void(DispatchQueue::Work)> postToMain = [](const DispatchQueue::Work& work) { work(); };
        /// Takes a message for the user, such as that the root is gone.
        std::function<void(const std::string&)> report = [](const std::string&) {};
        /// Where changes come from; a test has a source of its own.
        std::function<std::unique_ptr<EventSource>(const WatchOptions&)> openSource = openEventSource;
        /// The cache is saved no more often than this because of changes.
        std::chrono::milliseconds saveInterval = std::chrono::minutes(5);
        /// How many more entries may be deleted than alive before the index is built anew: identifiers are
        /// never used twice, so deleted ones keep their memory.
        std::int64_t spareTombstones = 100'000;
    };

    static std::shared_ptr<AppServices> make(Options options);

    /// Ends builds at once. What was changed since the last save is lost; see `close`.
    ~AppServices() override;
    AppServices(const AppServices&) = delete;
    AppServices& operator=(const AppServices&) = delete;

    FrecencyStore& frecency() { return *frecency_; }
    SavedSearchStore& savedSearches() { return savedSearches_; }
    /// For searches of a user interface, off its main thread.
    DispatchQueue& searchQueue() { return searchQueue_; }

    /// Called on the main queue: how many entries there are, and whether a scan goes on.
    std::function<void(std::int64_t entryCount, bool stillScanning)> onProgress;
    /// Called on the main queue after a batch of changes has changed the index.
    std::function<void()> onIndexUpdated;

    /// Brings the index up from the cache or by a scan, and keeps it current from then on.
    void start(std::function<void()> onReady) override;
    void start() { start({}); }

    /// Scans anew, as when changes were lost. The index is empty at first, and not ready until all is in it.
    void rebuild();

    /// Attaches an empty trigram index, or detaches the one there is, and rebuilds; whether it is attached
    /// now.
    bool toggleTrigram();

    /// An orderly end: stops watching and what is being built, and saves what changed since the last save.
    /// Returns when that is done. Nothing may be called afterwards.
    void close();

    bool waitUntilReady(std::chrono::milliseconds deadline) override;
    bool flush(std::chrono::milliseconds deadline) override;
    const FileIndex& index() const override { return index_; }
    const std::string& root() const override { return options_.root; }

    /// How changes are noticed, in a few words for a status line.
    std::string coverage() const;

private:
    using Deadline = std::chrono::steady_clock::time_point;

    explicit AppServices(Options options);

    /// Work for the build queue that does nothing when this is gone or closing by then.
    std::function<void()> job(void (AppServices::*run)());
    bool drainBuildQueue(Deadline end);
    std::shared_ptr<FSEventsWatcher> watcher() const;
    void setWatcher(std::shared_ptr<FSEventsWatcher> watcher);

    // On the build queue:
    void bringUp();
    bool loadCache();
    void replayHistory();
    void armWatcher();
    void scan();
    void rebuildNow();
    void applyPending();
    void apply(ChangeBatch batch);
    void retryUnread();
    void compareSome();
    void checkRoot();
    void checkRootRepeatedly();
    void scheduleSave();
    void saveScheduled();
    void saveCache();
    void announceReady();
    bool isRootListed() const;
    bool hasTooManyTombstones() const;
    bool concernsOwnFilesOnly(const ChangeBatch& batch) const;

    // Anywhere:
    void scheduleApply(ChangeBatch batch);
    void setReady(bool isReady);
    CrawlOptions crawlOptions() const;
    WatchOptions watchOptions() const;
    bool hasTrigramIndex() const;
    void postProgress(bool stillScanning);

    const Options options_;
    FileIndex index_;
    DispatchQueue searchQueue_{"dovra.search", QualityOfService::userInteractive};
    std::shared_ptr<FrecencyStore> frecency_;
    SavedSearchStore savedSearches_;
    DispatchQueue buildQueue_{"dovra.build", QualityOfService::userInitiated};
    const IndexCache cache_;

    std::stop_source stop_;
    std::atomic<bool> isRebuildQueued_ = false;

    std::mutex readyMutex_;
    std::condition_variable readyChanged_;
    bool isReady_ = false;

    std::mutex pendingMutex_;
    ChangeSet pending_;  ///< what the build queue has not yet come to
    bool isApplyQueued_ = false;

    mutable std::mutex watcherMutex_;
    std::shared_ptr<FSEventsWatcher> watcher_;

    // The build queue's own:
    std::function<void()> onReady_;
    std::uint64_t lastEventId_ = 0;
    bool isWhole_ = false;    ///< the index holds all there is, and may be saved
    bool isChanged_ = false;  ///< since the last save
    bool isSaveScheduled_ = false;
    bool isRetryScheduled_ = false;
    FolderStamp rootNow_;                  ///< not known while there is no root
    std::vector<std::string> unread_;      ///< folders to look at again
    std::vector<std::string> uncompared_;  ///< folders whose files may have changed in place while away
};

}  // namespace dovra
