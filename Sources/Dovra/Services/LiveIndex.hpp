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

/// The life of the index of one root: it is loaded or scanned, follows the disk, proves itself against it, is
/// built anew when that is needed, and is saved. Without threads and timers: whoever owns it steps it, as
/// often as it likes, at least when `nextTime` has come and when the feed rings. So a test can go through a
/// life step by step.
///
///     empty ── start ──┬─ a cache ──> replaying ── the feed is open ──> live <──┐
///                      └─ none ─────> loading ──── the feed is open ──> live    │ step: built
///                                                                       rebuilding
///     any ── end ──> ended                                                ^ changes lost, asked for, another
///     root
///
/// For one thread, which alone may change the index; any thread may read it meanwhile, under its lock.
class LiveIndex {
public:
    using Clock = ComparisonRounds::Clock;
    using Time = ComparisonRounds::Time;

    enum class State : std::uint8_t {
        empty,       ///< nothing was asked for. No answers.
        loading,     ///< a first scan is to come or goes on. No answers, but what was found may be searched.
        replaying,   ///< from a cache; the feed is being opened. Whole with each flush, but not yet compared.
        live,        ///< follows the disk. Whole with each flush; compared, once it was caught up with.
        rebuilding,  ///< changes were lost, or it has to be made anew. No answers; the former one may be
                     ///< searched.
        ended,       ///< No answers.
    };

    struct Options {
        std::string root = "/";  ///< absolute, without a slash at its end
        bool usesTrigram = false;
        FSEventsWatcher::OpenFeed openFeed;  ///< opens what tells of changes below the root
        std::function<Time()> now = [] { return Clock::now(); };
        std::function<bool()> isOnBattery = [] { return dovra::isOnBattery(); };
        /// Takes a message for the user, such as that the root is gone.
        std::function<void(const std::string&)> report = [](const std::string&) {};
        /// How many entries there are, and whether a scan goes on.
        std::function<void(std::int64_t entryCount, bool stillScanning)> onProgress = [](std::int64_t, bool) {
        };
        /// The index is another one than before.
        std::function<void()> onUpdated = [] {};
        /// The cache is saved no more often than this because of changes.
        std::chrono::milliseconds saveInterval = std::chrono::minutes(5);
        /// How many more entries may be deleted than alive before the index is built anew: identifiers are
        /// never used twice, so deleted ones keep their memory.
        std::int64_t spareTombstones = 100'000;
        /// A request to stop ends scans, comparisons and saves soon; only `end` is of use then.
        std::stop_token stop = {};
    };

    /// Work that takes its time, to be done beside the steps by whoever steps: `run` on any thread, and what
    /// it returns on the steps' own. Neither may outlive this object.
    struct Task {
        enum class Kind : std::uint8_t { reading /* the disk, for a comparison */, saving /* the cache */ };

        Kind kind;
        std::function<std::function<void()>()> run;
    };

    explicit LiveIndex(Options options);

    /// Loads the cache or, where there is none of use, has the next steps scan. Called once.
    void start();

    /// Does what is due: takes what the feed has, scans, replays, looks again.
    void step();

    /// Brings in every change that was made before the call. False when that was not done within `patience`,
    /// and in a state without answers.
    bool flush(std::chrono::milliseconds patience);

    /// Has the next step build the index anew, beside the one there is, which it replaces when it is whole.
    void rebuild();

    /// Switches the trigram index on or off, and rebuilds.
    void useTrigram(bool isUsed);

    /// The orderly end: saves what changed since the last save. No task may be running.
    void end();

    /// A task that is due; to be asked for after each call of the others until there is none.
    std::optional<Task> nextTask();

    /// When to step, or to ask for a task, although nothing else happens.
    Time nextTime() const;

    FileIndex& index() { return index_; }
    const FileIndex& index() const { return index_; }
    State state() const { return state_; }
    /// Whether a search may be answered: names are right, or will be after a flush.
    bool isWhole() const { return state_ == State::live || state_ == State::replaying; }
    /// Also what was changed in place before the start, which may show old sizes otherwise.
    bool isCompared() const { return state_ == State::live && !rounds_.isCatchingUp(); }
    /// How changes are noticed and which are not, in a few words for a status line.
    std::string coverage() const { return watcher_.coverage(); }
    const std::optional<RoundOutcome>& lastRound() const { return rounds_.last(); }

private:
    /// What is at the root's path.
    struct Root {
        FolderStamp stamp;  ///< not known while there is no folder
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
    bool comparesAll_ = false;  ///< a replay must find what changed in place, too: it is not the first one
    ChangeSet unread_;          ///< what could not be looked at, and is looked at again
    Time nextRetry_ = never;
    Time nextPoll_;

    ComparisonRounds rounds_;
    std::set<std::string> finds_;  ///< of the reading that is being taken in, as far as nothing tells of them

    std::uint64_t lastEventId_ = 0;
    bool isSaving_ = false;
    Time nextSave_ = never;  ///< of what changed since the last one began
};

}  // namespace dovra
