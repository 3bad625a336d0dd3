#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Index/DiskComparison.hpp"

namespace dovra {

/// What a whole round of comparing the index with the disk came to.
struct RoundOutcome {
    std::uint64_t number = 0;  ///< counts up from 1
    std::int64_t endedAt = 0;  ///< whole seconds since 1970
    std::int64_t finds = 0;    ///< folders that had changed although nothing had told so
    std::string example = {};  ///< one of them; empty when there is none

    bool operator==(const RoundOutcome&) const = default;
};

/// When which part of the index is compared with the disk. A round goes through the whole index, a piece at a
/// time. The first one after a start makes up for what changed in place meanwhile, and is soon done. Every
/// further one takes at most a hundredth of the time by the clock, so that a disk that has to be read counts
/// too; it begins ten minutes after the one before, and only if somebody could tell the difference. For one
/// thread.
class ComparisonRounds {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    /// Between the beginnings of two rounds.
    static constexpr std::chrono::minutes interval{10};
    /// A piece that takes long is read no further than for this time.
    static constexpr std::chrono::milliseconds readingBudget{10};

    /// Forgets the round that goes on, if any. With `catchesUp` the next one begins at once, without asking
    /// for the stamps, which are known to be right; otherwise after the interval.
    void startOver(Time now, bool catchesUp);

    /// Counts the starts over: what was read before the last one is of no use.
    std::uint64_t era() const { return era_; }

    bool isCatchingUp() const { return catchesUp_; }

    /// Somebody was served, or something changed: the index is worth another round.
    void noteUse() { isWorthwhile_ = true; }

    /// When there may be something to read; the end of time while a piece is being read.
    Time nextTime() const { return nextTime_; }
    void postpone(Time until) { nextTime_ = until; }

    /// What is to be read now; absent when nothing is. Not before `nextTime`.
    std::optional<DiskComparison::Piece> next(const FileIndex& index, Time now);

    /// Takes in what was read in this era, in `took`: the places that differ.
    ChangeBatch take(const FileIndex& index, const DiskComparison::Reading& reading, Clock::duration took,
                     Time now);

    /// Counts a folder that differed although nothing had told so.
    void addFind(const std::string& folder);

    /// The outcome of the last whole round; absent before the first one that was not to catch up has ended.
    const std::optional<RoundOutcome>& last() const { return last_; }

private:
    void end(Time now);

    std::optional<DiskComparison> comparison_;  ///< present while a round goes on
    bool catchesUp_ = false;
    std::uint64_t era_ = 0;
    bool isWorthwhile_ = false;
    Time began_;
    Time nextTime_ = Time::max();
    RoundOutcome current_;
    std::optional<RoundOutcome> last_;
};

}  // namespace dovra
