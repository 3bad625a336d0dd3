#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <stop_token>
#include <string>

#include "Index/Crawl.hpp"
#include "Index/FileIndex.hpp"
#include "Index/IndexCache.hpp"
#include "Platform/ChangeFeed.hpp"
#include "Platform/OpenFolder.hpp"
#include "Platform/PowerSupply.hpp"
#include "Services/ComparisonRounds.hpp"
#include "Services/FSEventsWatcher.hpp"

namespace dovra {

/// The life of the index of one root: it is loaded or scanned, follows the disk, is compared with the disk,
/// is built anew when needed, and is saved. It has no threads and timers. Its owner steps it as often as it
/// likes, at least at `nextTime` and when the feed rings. So a test can go through a life step by step.
///
///     empty ── start ──┬─ a cache ──> replaying ── the feed is open ──┬─> live <── built ──┐
///                      └─ none ─────> loading ──── the feed is open ──┘    │               │
///                                                                          └───────> rebuilding
///     any ── end ──> ended                  changes lost, on request, another root
///
/// For one thread, which alone may change the index; any thread may read it meanwhile, under its lock.
class LiveIndex {
public:
    using Clock = ComparisonRounds::Clock;
    using Time = ComparisonRounds::Time;

    enum class State : std::uint8_t {
        empty,       ///< not started. No answers.
        loading,     ///< before or in the first scan. No answers, but the entries so far may be searched.
        replaying,   ///< loaded; the feed is being opened. Whole with each flush, but not yet compared.
        live,        ///< follows the disk. Whole with each flush; compared when it has caught up.
        rebuilding,  ///< being built anew. No answers, but the former index may be searched.
        ended,       ///< No answers.
    };

    struct Options {
        std::string root = "/";  ///< absolute, without a slash at its end
        bool usesTrigram = false;
        FSEventsWatcher::OpenFeed openFeed;  ///< opens the feed of changes below the root
        std::function<Time()> now = [] { return Clock::now(); };
        std::function<bool()> isOnBattery = [] { return dovra::isOnBattery(); };
        /// Takes a message for the user, such as that the root is gone.
        std::function<void(const std::string&)> report = [](const std::string&) {};
        /// Takes the number of entries, and whether a scan is running.
        std::function<void(std::int64_t entryCount, bool stillScanning)> onProgress = [](std::int64_t, bool) {
        };
        /// Called after each change of the index.
        std::function<void()> onUpdated = [] {};
        /// Between a change and the save of the cache that it leads to.
        std::chrono::milliseconds saveInterval = std::chrono::minutes(5);
        /// The index is built anew when its deleted entries outnumber the live ones by more than this:
        /// identifiers are never used twice, so deleted entries keep their memory.
        std::int64_t spareTombstones = 100'000;
        /// A request to stop ends scans, comparisons and saves soon; only `end` may be called then.
        std::stop_token stop = {};
    };

    /// Long work that the owner runs beside the steps: `run` on any thread, and the function that it returns
    /// on the thread of the steps. Neither may outlive this object.
    struct Task {
        enum class Kind : std::uint8_t { reading /* the disk, for a comparison */, saving /* the cache */ };

        Kind kind;
        std::function<std::function<void()>()> run;
    };

    explicit LiveIndex(Options options);

    /// Loads the cache; without a usable one the next steps scan. Called once.
    void start();

    /// Does the work that is due: applies the feed's changes, scans, replays, lists unread folders again.
    void step();

    /// Brings in every change that was made before the call. False when that was not done within `patience`,
    /// and in a state without answers.
    bool flush(std::chrono::milliseconds patience);

    /// Lets the next step build a new index beside the present one, and replace it by the whole new one.
    void rebuild();

    /// Switches the trigram index on or off, and rebuilds.
    void useTrigram(bool isUsed);

    /// The orderly end: saves the index if it changed since the last save. No task may be running.
    void end();

    /// A task that is due. To be called after each of the operations above until it returns none.
    std::optional<Task> nextTask();

    /// The time of the next step or task, if nothing happens before.
    Time nextTime() const;

    FileIndex& index() { return index_; }
    const FileIndex& index() const { return index_; }
    State state() const { return state_; }
    /// Whether a search may be answered: names are right after a flush.
    bool isWhole() const { return state_ == State::live || state_ == State::replaying; }
    /// Whether the sizes and times of files written in place before the start are right too.
    bool isCompared() const { return state_ == State::live && !rounds_.isCatchingUp(); }
    /// The mechanism of watching and its gaps, in a few words for a status line.
    std::string coverage() const { return watcher_.coverage(); }
    const std::optional<RoundOutcome>& lastRound() const { return rounds_.last(); }

private:
    /// The folder at the root's path.
    struct Root {
        FolderStamp stamp;  ///< unknown while there is no folder
        std::optional<std::string> realPath;
    };

    static constexpr Time never = Time::max();

    bool load();
    void comeAlive();
    void scan(FileIndex& index);
    void buildAside();
    void beginLife(bool catchesUp);
    void replay();

    Root lookAtRoot() const;
    void checkRoot();
    void forgetRoot();

    void lookAgain(bool atPolledTrees);
    void applyTold(const ChangeBatch& batch);
    std::vector<std::string> apply(const ChangeBatch& batch);
    bool concernsOwnFilesOnly(const ChangeBatch& batch, const std::vector<std::string>& changed) const;
    bool hasTooManyTombstones() const;

    Task readingTask(DiskComparison::Piece piece);
    void finishReading(const DiskComparison::Reading& reading, Clock::duration took);
    void reportRound() const;

    bool maySave() const;
    void prepareSave();
    Task savingTask();
    void finishSaving(bool hasFailed);

    bool isStopped() const { return options_.stop.stop_requested(); }
    CrawlOptions crawlOptions() const;
    void tellUpdated() {
        options_.onProgress(index_.itemCount(), false);
        options_.onUpdated();
    }

    const Options options_;
    FileIndex index_;
    const IndexCache cache_;
    FSEventsWatcher watcher_;
    State state_ = State::empty;
    Root root_;
    Time nextRootCheck_ = never;

    bool usesTrigram_;
    bool comparesAll_ = false;  ///< a replay compares everything, because the index was live before
    ChangeSet unread_;          ///< places that could not be read, to be tried again
    Time nextRetry_ = never;
    Time nextPoll_;

    ComparisonRounds rounds_;
    std::set<std::string> finds_;  ///< folders found by the present reading and reported by no event so far

    std::uint64_t lastEventId_ = 0;
    bool isSaving_ = false;
    Time nextSave_ = never;  ///< due because of a change since the last save began
};

}  // namespace dovra
