#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace dovra {

/// The urgency of a queue's work. Utility work runs on threads of lower priority. Background work uses idle
/// processors and disks, and all of it shares one thread.
enum class QualityOfService : std::uint8_t { userInteractive, userInitiated, utility, background };

/// A serial queue: runs its work one at a time, in the order of handing over, on a thread of a pool that all
/// queues of one priority share. The thread carries the queue's label meanwhile. The first work starts the
/// pool's threads.
///
/// Any thread may use a queue. Work must not throw. Work that was handed over runs even after the queue
/// object is gone; work that outlives its owner holds it weakly. At the end of the process running work is
/// finished, and work that has not begun is dropped: an owner that needs it done calls `sync` first.
class DispatchQueue {
public:
    using Work = std::function<void()>;

    DispatchQueue(std::string label, QualityOfService quality);
    ~DispatchQueue();
    DispatchQueue(const DispatchQueue&) = delete;
    DispatchQueue& operator=(const DispatchQueue&) = delete;

    void async(Work work);

    /// Hands the work over once the delay has passed.
    void asyncAfter(std::chrono::steady_clock::duration delay, Work work);

    /// Runs the work after all earlier work, and returns when it is done. A call on the queue itself would
    /// wait for ever, and is a fatal error.
    void sync(const Work& work = [] {});

    /// Waits until all earlier work is done. False when that takes longer.
    bool syncWithin(std::chrono::milliseconds patience);

private:
    struct State;

    std::shared_ptr<State> state_;  ///< shared with the work
};

}  // namespace dovra
