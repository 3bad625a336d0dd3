#include "Platform/MainQueue.hpp"

namespace dovra {

void MainQueue::asyncAfter(Clock::duration delay, Work work) {
    bool isNext = false;
    {
        const MutexGuard guard(mutex_);
        const auto added = waiting_.emplace(now_() + delay, std::move(work));
        isNext = added == waiting_.begin();
    }
    if (isNext) wake_();
}

MainQueue::Time MainQueue::run() {
    std::multimap<Time, Work> due;
    {
        const MutexGuard guard(mutex_);
        const auto end = waiting_.upper_bound(now_());
        while (waiting_.begin() != end)
            due.insert(due.end(), waiting_.extract(waiting_.begin()));
    }
    for (const auto& [time, work] : due)
        work();
    const MutexGuard guard(mutex_);
    return waiting_.empty() ? Time::max() : waiting_.begin()->first;
}

}  // namespace dovra
