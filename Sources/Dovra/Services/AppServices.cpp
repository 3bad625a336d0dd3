#include "Services/AppServices.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <future>
#include <iterator>
#include <utility>

#include "Base/IsAtOrBelow.hpp"
#include "Index/ChangeApplication.hpp"
#include "Index/EventId.hpp"
#include "Index/FolderReplay.hpp"
#include "Platform/DirectoryListing.hpp"
#include "Platform/Volume.hpp"

namespace dovra {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Folders that could not be read, and the root, are looked at again after this: no event tells everything
/// that can become of the root.
constexpr auto retryDelay = 5s;

/// Comparing what may have changed in place is never urgent: so many folders at a time, and a pause three
/// times as long as they take, about.
constexpr std::size_t comparedAtOnce = 64;
constexpr auto comparisonPause = 6ms;

std::chrono::milliseconds until(Clock::time_point end) {
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()), 0ms);
}

}  // namespace

std::shared_ptr<AppServices> AppServices::make(Options options) {
    return std::shared_ptr<AppServices>(new AppServices(std::move(options)));
}

AppServices::AppServices(Options options)
    : options_(std::move(options)),
      frecency_(std::make_shared<FrecencyStore>(FrecencyStore::defaultURL())),
      savedSearches_(SavedSearchStore::defaultURL()),
      cache_(cacheFileName(options_.root)) {
    if (options_.usesTrigram) index_.attachTrigramIndex(std::make_shared<TrigramIndex>());
    index_.setFrecency(frecency_);
}

AppServices::~AppServices() {
    stop_.request_stop();
}

std::function<void()> AppServices::job(void (AppServices::*run)()) {
    return [weak = weak_from_this(), run] {
        const auto self = weak.lock();
        if (self && !self->stop_.stop_requested()) (*self.*run)();
    };
}

void AppServices::start(std::function<void()> onReady) {
    onReady_ = std::move(onReady);
    buildQueue_.async(job(&AppServices::bringUp));
}

void AppServices::rebuild() {
    // A second report of lost changes before the scan begins asks for nothing more.
    if (isRebuildQueued_.exchange(true)) return;
    setReady(false);
    buildQueue_.async(job(&AppServices::rebuildNow));
}

bool AppServices::toggleTrigram() {
    const bool attaches = !hasTrigramIndex();
    index_.attachTrigramIndex(attaches ? std::make_shared<TrigramIndex>() : nullptr);
    rebuild();
    return attaches;
}

bool AppServices::hasTrigramIndex() const {
    const ReadGuard guard(index_.rwlock);
    return index_.trigramLocked() != nullptr;
}

void AppServices::close() {
    stop_.request_stop();
    setWatcher(nullptr);
    buildQueue_.sync([this] {
        if (isWhole_ && isChanged_) saveCache();
    });
    if (const auto error = frecency_->flush()) options_.report(error->message);
}

bool AppServices::waitUntilReady(std::chrono::milliseconds deadline) {
    std::unique_lock lock(readyMutex_);
    return readyChanged_.wait_for(lock, deadline, [&] { return isReady_; });
}

void AppServices::setReady(bool isReady) {
    const std::scoped_lock lock(readyMutex_);
    isReady_ = isReady;
    readyChanged_.notify_all();
}

bool AppServices::flush(std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    buildQueue_.async(job(&AppServices::checkRoot));
    if (!drainBuildQueue(end)) return false;
    if (const auto watcher = this->watcher(); watcher && !watcher->flush(until(end))) return false;
    // Changes that were lost have it built anew.
    return drainBuildQueue(end) && waitUntilReady(until(end));
}

bool AppServices::drainBuildQueue(Clock::time_point end) {
    const auto done = std::make_shared<std::promise<void>>();
    buildQueue_.async([done] { done->set_value(); });
    return done->get_future().wait_until(end) == std::future_status::ready;
}

std::string AppServices::coverage() const {
    const auto watcher = this->watcher();
    return watcher ? watcher->coverage() : "not watched";
}

std::shared_ptr<FSEventsWatcher> AppServices::watcher() const {
    const std::scoped_lock lock(watcherMutex_);
    return watcher_;
}

void AppServices::setWatcher(std::shared_ptr<FSEventsWatcher> watcher) {
    {
        const std::scoped_lock lock(watcherMutex_);
        std::swap(watcher_, watcher);
    }
    // The former one ends here, without the lock: that waits for a delivery.
}

CrawlOptions AppServices::crawlOptions() const {
    return {.restrictToStartupVolume = options_.root == "/", .stop = stop_.get_token()};
}

void AppServices::bringUp() {
    rootNow_ = folderStamp(options_.root);
    if (loadCache()) {
        announceReady();
        armWatcher();
        replayHistory();
        // What changed in place since the cache was written shows in no folder.
        uncompared_ = listedFolders(index_);
        compareSome();
    } else if (!stop_.stop_requested()) {
        armWatcher();
        scan();
    }
    if (stop_.stop_requested()) return;
    if (const auto watcher = this->watcher()) watcher->start();
    checkRootRepeatedly();
}

bool AppServices::loadCache() {
    if (!rootNow_.isKnown()) return false;
    const auto loaded =
        cache_.load(index_, {.volumeDev = rootNow_.device, .root = options_.root}, stop_.get_token());
    if (!loaded) return false;
    // One of the future would keep the next cache's stamps from being used too, and those will be of this
    // clock.
    lastEventId_ = isPastEvent(loaded->lastEventId, wallClockNow()) ? loaded->lastEventId : 0;
    isWhole_ = true;
    postProgress(false);
    return true;
}

void AppServices::replayHistory() {
    std::vector<std::string> changed = changedFolders(index_, stop_.get_token());
    if (!changed.empty()) apply({.paths = std::move(changed)});
}

void AppServices::armWatcher() {
    auto watcher = std::make_shared<FSEventsWatcher>(
        [open = options_.openSource, watched = watchOptions()] { return open(watched); },
        FSEventsWatcher::Callbacks{.callback =
                                       [weak = weak_from_this()](ChangeBatch batch) {
                                           if (const auto self = weak.lock())
                                               self->scheduleApply(std::move(batch));
                                       },
                                   .onMustRescan =
                                       [weak = weak_from_this()] {
                                           if (const auto self = weak.lock()) self->rebuild();
                                       }});
    if (!watcher->arm()) {
        options_.report(fmt::format("changes below {} are not seen", options_.root));
        watcher = nullptr;
    }
    setWatcher(std::move(watcher));
}

WatchOptions AppServices::watchOptions() const {
    WatchOptions watched;
    watched.root = options_.root;
    if (options_.root == "/") watched.allowedDevices = startupVolumeDevices;
    watched.entersFolder = [root = options_.root](std::string_view path) {
        return !isBelowSkippedFolder(path, root);
    };
    watched.report = options_.report;
    watched.stop = stop_.get_token();
    return watched;
}

void AppServices::scan() {
    isWhole_ = false;
    crawl(index_, {options_.root}, crawlOptions(), [this](std::int64_t, bool stillScanning) {
        if (stillScanning) postProgress(true);
    });
    if (stop_.stop_requested()) return;
    isWhole_ = true;
    isChanged_ = true;
    announceReady();
    saveCache();
    postProgress(false);
}

void AppServices::rebuildNow() {
    isRebuildQueued_ = false;
    setReady(false);
    index_.reset();
    cache_.remove();
    uncompared_.clear();
    scan();
}

void AppServices::scheduleApply(ChangeBatch batch) {
    {
        const std::scoped_lock lock(pendingMutex_);
        pending_.add(std::move(batch));
        if (std::exchange(isApplyQueued_, true)) return;
    }
    buildQueue_.async(job(&AppServices::applyPending));
}

void AppServices::applyPending() {
    ChangeBatch batch;
    {
        const std::scoped_lock lock(pendingMutex_);
        isApplyQueued_ = false;
        batch = pending_.take();
    }
    if (batch.mustRescan) {
        rebuild();
    } else {
        apply(std::move(batch));
    }
}

void AppServices::apply(ChangeBatch batch) {
    std::ranges::move(unread_, std::back_inserter(batch.paths));
    const std::uint64_t generation = index_.generation();
    unread_ = applyChanges(index_, batch, crawlOptions()).unread;
    // A stop in the middle may leave a folder without its contents, which no stamp would tell later.
    if (stop_.stop_requested() && !unread_.empty()) isWhole_ = false;
    if (!unread_.empty() && !isRetryScheduled_) {
        isRetryScheduled_ = true;
        buildQueue_.asyncAfter(retryDelay, job(&AppServices::retryUnread));
    }
    if (index_.generation() == generation) return;
    if (hasTooManyTombstones()) rebuild();
    // Otherwise each save would be the reason for the next one.
    if (!concernsOwnFilesOnly(batch)) {
        isChanged_ = true;
        scheduleSave();
    }
    options_.postToMain([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (self && self->onIndexUpdated) self->onIndexUpdated();
    });
}

void AppServices::retryUnread() {
    isRetryScheduled_ = false;
    if (!unread_.empty()) apply({});
}

void AppServices::compareSome() {
    const std::size_t count = std::min(comparedAtOnce, uncompared_.size());
    if (count == 0) return;
    ChangeBatch batch;
    std::move(uncompared_.end() - static_cast<std::ptrdiff_t>(count), uncompared_.end(),
              std::back_inserter(batch.paths));
    uncompared_.resize(uncompared_.size() - count);
    apply(std::move(batch));
    buildQueue_.asyncAfter(comparisonPause, job(&AppServices::compareSome));
}

void AppServices::checkRoot() {
    const FolderStamp now = folderStamp(options_.root);
    const bool isSame = now.device == rootNow_.device && now.inode == rootNow_.inode;
    if (isSame && (!now.isKnown() || isRootListed() || !OpenFolder::open(options_.root))) return;
    const bool wasGone = !std::exchange(rootNow_, now).isKnown();
    if (!now.isKnown()) {
        options_.report(fmt::format("{} is gone: there is nothing to find until it is back", options_.root));
        apply({.paths = {options_.root}});
        return;
    }
    const std::string_view news = isSame ? "can be read now"
                                  : wasGone
                                      ? "is back"
                                      : "is another folder than before (mounted, unmounted or replaced)";
    options_.report(fmt::format("{} {}: it is scanned", options_.root, news));
    // Whatever watched the former folder does not watch this one.
    armWatcher();
    rebuildNow();
    if (const auto watcher = this->watcher()) watcher->start();
}

void AppServices::checkRootRepeatedly() {
    checkRoot();
    buildQueue_.asyncAfter(retryDelay, job(&AppServices::checkRootRepeatedly));
}

void AppServices::scheduleSave() {
    if (std::exchange(isSaveScheduled_, true)) return;
    buildQueue_.asyncAfter(options_.saveInterval, job(&AppServices::saveScheduled));
}

void AppServices::saveScheduled() {
    isSaveScheduled_ = false;
    if (isWhole_ && isChanged_) saveCache();
}

void AppServices::saveCache() {
    if (!rootNow_.isKnown()) return;
    lastEventId_ = nextEventId(lastEventId_);
    // A cache that cannot be written costs the next start some time, and nothing else.
    isChanged_ = cache_.save(index_, rootNow_.device, lastEventId_).has_value();
    if (isChanged_) scheduleSave();
}

/// The index holds all there is, unless it is about to be built anew.
void AppServices::announceReady() {
    if (isRebuildQueued_) return;
    setReady(true);
    if (const auto onReady = std::exchange(onReady_, {})) onReady();
}

bool AppServices::isRootListed() const {
    const ReadGuard guard(index_.rwlock);
    const auto root = index_.directoriesLocked().find(options_.root);
    return root && index_.entriesByDirLocked().contains(*root);
}

bool AppServices::hasTooManyTombstones() const {
    const ReadGuard guard(index_.rwlock);
    const std::int64_t deleted = index_.tombstoneCountLocked();
    const std::int64_t alive = std::ssize(index_.entriesLocked()) - deleted;
    return deleted > alive + options_.spareTombstones;
}

bool AppServices::concernsOwnFilesOnly(const ChangeBatch& batch) const {
    if (!cache_.filePath() || !batch.subtrees.empty()) return false;
    const std::string folder = cache_.filePath()->substr(0, cache_.filePath()->rfind('/'));
    return std::ranges::all_of(batch.paths,
                               [&](const std::string& path) { return isAtOrBelow(path, folder); });
}

void AppServices::postProgress(bool stillScanning) {
    options_.postToMain([weak = weak_from_this(), stillScanning, count = index_.itemCount()] {
        const auto self = weak.lock();
        if (self && self->onProgress) self->onProgress(count, stillScanning);
    });
}

}  // namespace dovra
