#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Index/DiskComparison.hpp"

namespace dovra {

/// The outcome of a whole round of comparing the index with the disk.
struct RoundOutcome {
    std::uint64_t number = 0;  ///< counts up from 1
    std::int64_t endedAt = 0;  ///< whole seconds since 1970
    std::int64_t finds = 0;    ///< folders with a change that no event had reported
    std::string example = {};  ///< one of them; empty when there is none

    bool operator==(const RoundOutcome&) const = default;
};

/// The schedule by which the index is compared with the disk. A round goes through the whole index, a piece
/// at a time. The first round after a start finds the files written in place before the start, and is soon
/// done. Each further round takes at most a hundredth of the time by the clock, reading from the disk
/// included. It begins ten minutes after the beginning of the one before, and only if the index was used or
/// changed since. For one thread.
class ComparisonRounds {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    /// Between the beginnings of two rounds.
    static constexpr std::chrono::minutes interval{10};
    /// The reading of one piece ends after this time.
    static constexpr std::chrono::milliseconds readingBudget{10};

    /// Drops the present round, if any. With `catchesUp` the next one begins at once, and skips the stamps,
    /// which are known to be right; otherwise it begins after the interval.
    void startOver(Time now, bool catchesUp);

    /// Counts the calls of `startOver`: a reading of an earlier era is useless.
    std::uint64_t era() const { return era_; }

    bool isCatchingUp() const { return catchesUp_; }

    /// Notes a request or a change, which makes another round worthwhile.
    void noteUse() { isWorthwhile_ = true; }

    /// The time of the next piece; the end of time while a piece is being read.
    Time nextTime() const { return nextTime_; }
    void postpone(Time until) { nextTime_ = until; }

    /// The piece to read now; absent before `nextTime`, without cause for a round, and at a round's end.
    std::optional<DiskComparison::Piece> next(const FileIndex& index, Time now);

    /// Compares a reading of this era, which took the time `took`. Returns the places that differ.
    ChangeBatch take(const FileIndex& index, const DiskComparison::Reading& reading, Clock::duration took,
                     Time now);

    /// Counts a folder with a change that no event had reported.
    void addFind(const std::string& folder);

    /// The outcome of the last whole round; absent before the end of the first one that did not catch up.
    const std::optional<RoundOutcome>& last() const { return last_; }

private:
    void end(Time now);

    std::optional<DiskComparison> comparison_;  ///< present during a round
    bool catchesUp_ = false;
    std::uint64_t era_ = 0;
    bool isWorthwhile_ = false;
    Time began_;
    Time nextTime_ = Time::max();
    RoundOutcome current_;
    std::optional<RoundOutcome> last_;
};

}  // namespace dovra
