#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <utility>

#include "Base/Locks.hpp"
#include "Platform/DispatchQueue.hpp"

namespace dovra {

/// The serial queue of a user interface's main thread. It has no thread: the front end calls `run` after each
/// call of `wake`, and again at the time that `run` returns. So between two of these nothing wakes the
/// processor, and a test decides what happens when.
///
/// Any thread may hand over work; `run` belongs to the main thread.
class MainQueue {
public:
    using Work = DispatchQueue::Work;
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    /// `wake` is called on the thread that hands over work, whenever the next work is due earlier than
    /// before.
    explicit MainQueue(std::function<void()> wake, std::function<Time()> now = Clock::now)
        : wake_(std::move(wake)), now_(std::move(now)) {}

    Time now() const { return now_(); }

    void async(Work work) { asyncAfter({}, std::move(work)); }

    /// Hands the work over once the delay has passed.
    void asyncAfter(Clock::duration delay, Work work) DOVRA_EXCLUDES(mutex_);

    /// Does the work that is due, in the order of its times, but not what it hands over in turn. Returns the
    /// time of the next work; the end of time when there is none.
    Time run() DOVRA_EXCLUDES(mutex_);

private:
    const std::function<void()> wake_;
    const std::function<Time()> now_;

    Mutex mutex_;
    std::multimap<Time, Work> waiting_
        DOVRA_GUARDED_BY(mutex_);  ///< equal times in the order of handing over
};

}  // namespace dovra
