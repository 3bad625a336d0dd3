#include "Services/LiveIndex.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <utility>

#include "Base/PathText.hpp"
#include "Index/ChangeApplication.hpp"
#include "Index/Clocks.hpp"
#include "Index/DiskComparison.hpp"
#include "Platform/OpenFolder.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

namespace {

using namespace std::chrono_literals;

/// Not every change of the root has an event, so the root is checked at this interval.
constexpr auto rootCheckInterval = 5s;
/// Unreadable folders are tried again after this.
constexpr auto retryDelay = 5s;

/// The rest between two polls: at least this, and this multiple of the time that a poll takes.
constexpr auto shortestPollInterval = 2s;
constexpr int restForEachPoll = 20;

/// A failed save is tried again after this.
constexpr auto savePause = 1min;

/// The longest wait of a step for the feed, which waits for the system. Later changes come with the next
/// step.
constexpr auto stepPatience = 2s;

}  // namespace

LiveIndex::LiveIndex(Options options)
    : options_(std::move(options)),
      cache_(cacheFileName(options_.root)),
      watcher_(options_.openFeed, {.callback = [this](const ChangeBatch& batch) { applyTold(batch); },
                                   .onMustRescan = [this] { rebuild(); }}),
      usesTrigram_(options_.usesTrigram) {
    if (usesTrigram_) index_.attachTrigramIndex(std::make_shared<TrigramIndex>());
}

CrawlOptions LiveIndex::crawlOptions() const {
    return {.restrictToStartupVolume = options_.root == "/", .stop = options_.stop};
}

// Coming up.

void LiveIndex::start() {
    state_ = State::loading;
    root_ = lookAtRoot();
    nextRootCheck_ = options_.now() + rootCheckInterval;
    watcher_.start();
    if (!load()) return;
    replay();
    if (isStopped()) return;
    state_ = State::replaying;
    tellUpdated();
}

bool LiveIndex::load() {
    if (!root_.stamp.isKnown()) return false;
    const auto loaded =
        cache_.load(index_, {.volumeDev = root_.stamp.device, .root = options_.root}, options_.stop);
    if (!loaded) return false;
    // An identifier from the future would also make the next cache's stamps useless, although they will be of
    // this clock.
    lastEventId_ = isPastEvent(loaded->lastEventId, wallClockNow()) ? loaded->lastEventId : 0;
    return true;
}

/// Asks the folders themselves, because there is no history of changes.
void LiveIndex::replay() {
    if (comparesAll_) {
        apply({.subtrees = {options_.root}});
    } else {
        apply(changedFolders(index_, options_.stop));
    }
}

/// Called once the feed is open. No change is missed from now on, so the index can be completed.
void LiveIndex::comeAlive() {
    switch (state_) {
        case State::loading:
            scan(index_);
            beginLife(false);
            break;
        case State::rebuilding:
            buildAside();
            break;
        case State::replaying:
            replay();
            beginLife(!comparesAll_);
            break;
        default:
            break;
    }
}

void LiveIndex::scan(FileIndex& index) {
    crawl(index, {options_.root}, crawlOptions(), [this](std::int64_t count, bool stillScanning) {
        if (stillScanning) options_.onProgress(count, true);
    });
}

/// A search meanwhile uses the former index, and never sees a part of the new one.
void LiveIndex::buildAside() {
    cache_.remove();
    FileIndex fresh;
    if (usesTrigram_) fresh.attachTrigramIndex(std::make_shared<TrigramIndex>());
    scan(fresh);
    if (isStopped()) return;
    index_.replaceContents(fresh.takeContents());
    beginLife(false);
}

void LiveIndex::beginLife(bool catchesUp) {
    if (isStopped()) return;
    const bool isBuilt = state_ != State::replaying;
    if (watcher_.isRefused() && root_.stamp.isKnown())
        options_.report(fmt::format("changes below {} are not told", options_.root));
    state_ = State::live;
    rounds_.startOver(options_.now(), catchesUp);
    if (!isBuilt) return;
    nextSave_ = options_.now();
    tellUpdated();
}

void LiveIndex::rebuild() {
    if (isWhole()) state_ = State::rebuilding;
}

void LiveIndex::useTrigram(bool isUsed) {
    usesTrigram_ = isUsed;
    // The first contents go into the index itself.
    if (state_ == State::empty || state_ == State::loading)
        index_.attachTrigramIndex(isUsed ? std::make_shared<TrigramIndex>() : nullptr);
    rebuild();
}

// Following the disk.

void LiveIndex::step() {
    if (isStopped() || state_ == State::empty) return;
    checkRoot();
    if (!watcher_.isOpening()) comeAlive();
    if (state_ != State::live || isStopped()) return;
    watcher_.deliver(stepPatience);
    const Time now = options_.now();
    const bool polls = now >= nextPoll_ && !watcher_.polledTrees().empty();
    if (polls || now >= nextRetry_) lookAgain(polls);
}

bool LiveIndex::flush(std::chrono::milliseconds patience) {
    if (isStopped()) return false;
    rounds_.noteUse();
    checkRoot();
    if (state_ == State::replaying) {
        if (watcher_.isOpening()) {
            replay();
            return true;
        }
        comeAlive();
    }
    if (state_ != State::live) return false;
    const bool isInTime = watcher_.deliver(patience);
    lookAgain(true);
    return isInTime && state_ == State::live;
}

/// Lists the unread places again and, if asked for, the polled trees.
void LiveIndex::lookAgain(bool atPolledTrees) {
    nextRetry_ = never;
    ChangeBatch batch = unread_.take();
    // There were more unread places than the set keeps.
    if (batch.mustRescan) rebuild();
    if (atPolledTrees) {
        std::vector<std::string> trees = watcher_.polledTrees();
        std::ranges::move(trees, std::back_inserter(batch.subtrees));
    }
    const Time start = options_.now();
    if (!batch.empty()) apply(batch);
    const Time end = options_.now();
    if (atPolledTrees)
        nextPoll_ = end + std::max<Clock::duration>(shortestPollInterval, (end - start) * restForEachPoll);
}

/// A change that the feed reports is no find of a comparison.
void LiveIndex::applyTold(const ChangeBatch& batch) {
    for (const std::string& path : batch.paths)
        finds_.erase(path);
    for (const std::string& path : batch.files)
        finds_.erase(std::string(parentPath(path)));
    for (const std::string& top : batch.subtrees)
        std::erase_if(finds_, [&](const std::string& path) { return isAtOrBelow(path, top); });
    apply(batch);
}

/// Returns the folders that differed from the index.
std::vector<std::string> LiveIndex::apply(const ChangeBatch& batch) {
    const std::uint64_t generation = index_.generation();
    AppliedChanges applied = applyChanges(index_, batch, crawlOptions());
    if (!applied.unread.empty()) nextRetry_ = options_.now() + retryDelay;
    unread_.add(std::move(applied.unread));
    if (index_.generation() == generation) return {};
    rounds_.noteUse();
    if (hasTooManyTombstones()) rebuild();
    // A change of our own files leads to no save: each save would lead to the next.
    if (nextSave_ == never && !concernsOwnFilesOnly(batch, applied.changed))
        nextSave_ = options_.now() + options_.saveInterval;
    options_.onUpdated();
    return std::move(applied.changed);
}

bool LiveIndex::hasTooManyTombstones() const {
    const ReadGuard guard(index_.rwlock);
    const std::int64_t deleted = index_.tombstoneCountLocked();
    const std::int64_t alive = std::ssize(index_.entriesLocked()) - deleted;
    return deleted > alive + options_.spareTombstones;
}

/// Compares folders by device and inode, not by path: a link may lead to them.
bool LiveIndex::concernsOwnFilesOnly(const ChangeBatch& batch,
                                     const std::vector<std::string>& changed) const {
    if (!cache_.filePath() || !batch.subtrees.empty()) return false;
    const FolderStamp own = folderStamp(std::string(parentPath(*cache_.filePath())));
    const auto isOwn = [&](std::string_view path) {
        return folderStamp(std::string(path)).isOfSameFolder(own);
    };
    if (!changed.empty()) return std::ranges::all_of(changed, isOwn);
    return std::ranges::all_of(batch.paths, isOwn) && std::ranges::all_of(batch.files, isOwn, parentPath);
}

// The root.

LiveIndex::Root LiveIndex::lookAtRoot() const {
    return {.stamp = folderStamp(options_.root), .realPath = realPath(options_.root)};
}

void LiveIndex::checkRoot() {
    nextRootCheck_ = options_.now() + rootCheckInterval;
    const Root now = lookAtRoot();
    const Root before = std::exchange(root_, now);
    if (!now.stamp.isKnown()) {
        if (before.stamp.isKnown()) forgetRoot();
        return;
    }
    const bool isSame = now.stamp.isOfSameFolder(before.stamp);
    const bool isElsewhere = now.realPath != before.realPath;
    // An index that is not built yet cannot list it.
    const bool isListed = state_ == State::loading || state_ == State::rebuilding ||
                          index_.listedFolder(options_.root).has_value();
    // A path too long to be resolved is never watched.
    const bool isServed = isListed && (!watcher_.isRefused() || !now.realPath);
    if (isSame && !isElsewhere && (isServed || !OpenFolder::open(options_.root))) return;
    // The former watch, if any, is of another folder or another path.
    if (isSame && (isElsewhere || isListed)) {
        if (state_ == State::live) state_ = State::replaying;
        comparesAll_ = true;
    } else {
        const std::string_view news = isSame                    ? "can be read now"
                                      : !before.stamp.isKnown() ? "is back"
                                                                : "is another folder than before (mounted, "
                                                                  "unmounted or replaced)";
        options_.report(fmt::format("{} {}: it is scanned", options_.root, news));
        rebuild();
    }
    watcher_.start();
}

void LiveIndex::forgetRoot() {
    options_.report(fmt::format("{} is gone: there is nothing to find until it is back", options_.root));
    {
        const WriteGuard guard(index_.rwlock);
        index_.tombstoneSubtreeLocked(options_.root);
        index_.raiseGenerationLocked();
    }
    options_.onUpdated();
}

// Work beside the steps.

LiveIndex::Time LiveIndex::nextTime() const {
    if (isStopped() || state_ == State::empty) return never;
    if (state_ != State::live) return watcher_.isOpening() ? nextRootCheck_ : options_.now();
    const Time poll = watcher_.polledTrees().empty() ? never : nextPoll_;
    const Time save = maySave() ? nextSave_ : never;
    return std::min({nextRootCheck_, nextRetry_, poll, save, rounds_.nextTime()});
}

std::optional<LiveIndex::Task> LiveIndex::nextTask() {
    if (isStopped() || state_ != State::live) return std::nullopt;
    const Time now = options_.now();
    if (now >= nextSave_ && maySave()) return savingTask();
    if (now < rounds_.nextTime()) return std::nullopt;
    if (!rounds_.isCatchingUp() && options_.isOnBattery()) {
        rounds_.postpone(now + ComparisonRounds::interval);
        return std::nullopt;
    }
    const auto before = rounds_.last();
    auto piece = rounds_.next(index_, now);
    if (rounds_.last() != before) reportRound();
    return piece ? std::optional(readingTask(*std::move(piece))) : std::nullopt;
}

LiveIndex::Task LiveIndex::readingTask(DiskComparison::Piece piece) {
    return {.kind = Task::Kind::reading, .run = [this, era = rounds_.era(), piece = std::move(piece)] {
                const Time start = options_.now();
                auto reading = std::make_shared<const DiskComparison::Reading>(
                    DiskComparison::read(piece, ComparisonRounds::readingBudget, options_.stop));
                const Clock::duration took = options_.now() - start;
                return [this, era, reading, took] {
                    if (era == rounds_.era()) finishReading(*reading, took);
                };
            }};
}

void LiveIndex::finishReading(const DiskComparison::Reading& reading, Clock::duration took) {
    if (isStopped() || state_ != State::live) return;
    const bool catchesUp = rounds_.isCatchingUp();
    const ChangeBatch suspects = rounds_.take(index_, reading, took, options_.now());
    if (suspects.empty()) return;
    // A difference that the feed reports, before the folder is listed again or right after, is no find.
    watcher_.deliver(stepPatience);
    for (std::string& path : apply(suspects))
        finds_.insert(std::move(path));
    watcher_.deliver(stepPatience);
    const std::vector<std::string> polled = watcher_.polledTrees();
    for (const std::string& path : std::exchange(finds_, {})) {
        const auto holds = [&](const std::string& tree) { return isAtOrBelow(path, tree); };
        if (!catchesUp && !watcher_.isRefused() && std::ranges::none_of(polled, holds)) rounds_.addFind(path);
    }
}

void LiveIndex::reportRound() const {
    const auto& round = rounds_.last();
    if (round->finds == 0) return;
    options_.report(fmt::format(
        "comparing with the disk found {} folder{} that had changed without being told: {}{}", round->finds,
        round->finds == 1 ? "" : "s", round->example, round->finds == 1 ? "" : ", ..."));
}

// The cache.

bool LiveIndex::maySave() const {
    return !isSaving_ && nextSave_ != never && root_.stamp.isKnown();
}

/// An unread subtree may have no stamp of its own in the cache. So its parent's stamp is cleared, and the
/// next start lists the parent again.
void LiveIndex::prepareSave() {
    lastEventId_ = nextEventId(lastEventId_);
    const ChangeBatch unread = unread_.take();
    unread_.add(unread);
    const WriteGuard guard(index_.rwlock);
    for (const std::string& path : unread.subtrees) {
        if (const auto parent = index_.directoriesLocked().find(parentPath(path)))
            index_.setStampLocked(*parent, {});
    }
}

LiveIndex::Task LiveIndex::savingTask() {
    prepareSave();
    isSaving_ = true;
    nextSave_ = never;
    return {.kind = Task::Kind::saving, .run = [this, device = root_.stamp.device, id = lastEventId_] {
                const bool hasFailed = cache_.save(index_, device, id, options_.stop).has_value();
                // What was added since the last time lies in small pages.
                if (!options_.stop.stop_requested()) index_.gatherIntoLargePages();
                return [this, hasFailed] { finishSaving(hasFailed); };
            }};
}

/// A failed save is not reported: without a cache the next start is slower, and nothing else.
void LiveIndex::finishSaving(bool hasFailed) {
    isSaving_ = false;
    // The saved index may lack the lost changes.
    if (state_ == State::rebuilding) cache_.remove();
    if (!hasFailed) return;
    nextSave_ =
        std::min(nextSave_, options_.now() + std::min<Clock::duration>(savePause, options_.saveInterval));
}

void LiveIndex::end() {
    const bool isWhole = state_ != State::rebuilding;
    state_ = State::ended;
    // The running save was stopped.
    if (isSaving_) finishSaving(true);
    if (!isWhole || !maySave()) return;
    prepareSave();
    (void)cache_.save(index_, root_.stamp.device, lastEventId_);
}

}  // namespace dovra
