#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace dovra {

/// How soon the work of a queue is needed. Utility work runs on threads of lower priority. Background work
/// waits for processors and disks that nobody else wants, and all of it shares one thread.
enum class QualityOfService : std::uint8_t { userInteractive, userInitiated, utility, background };

/// A serial queue: runs what it is handed one at a time, in the order in which it came, on a thread of a pool
/// that all queues share. The thread carries the queue's label while it does. No thread is started before the
/// first work is handed over.
///
/// Any thread may use a queue. Work must not throw. What was handed over runs also when the queue object is
/// gone; work that outlives its owner holds it weakly. At the end of the process running work is finished,
/// and work that has not begun is dropped: an owner that needs it done calls `sync` first.
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

    /// Runs the work after all that was handed over before it, and returns when it is done. A fatal error on
    /// the queue itself, which would wait for ever.
    void sync(const Work& work = [] {});

private:
    struct State;

    std::shared_ptr<State> state_;  ///< work that was handed over shares it
};

}  // namespace dovra
