#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <stop_token>

#include "Base/JSONValue.hpp"
#include "Base/Locks.hpp"

namespace dovra {

/// A line of the client, read.
struct Message {
    JSONValue value;
    bool isReply = false;  ///< the line was no message, and `value` is its answer
};

/// The messages that wait for their answers, in their order. One thread adds them, another takes and answers
/// them.
class RequestQueue {
public:
    struct Entry {
        Message message;
        std::size_t bytes = 0;  ///< of its line
        std::stop_source stop = {};
    };

    struct State {
        bool isIdle = true;  ///< nothing waits and nothing is being answered
        bool isAbandoned = false;
        std::size_t bytes = 0;  ///< of what waits
    };

    void push(Message message, std::size_t bytes) DOVRA_EXCLUDES(mutex_);

    /// Waits for the next message. It counts as being answered, and stays valid, until the next call. Null
    /// when none is left and none will come.
    const Entry* take() DOVRA_EXCLUDES(mutex_);

    /// Drops the waiting messages that are meant. Requests a stop of the current one if it is meant.
    void cancel(const std::function<bool(const Message&)>& isMeant) DOVRA_EXCLUDES(mutex_);

    /// No more messages will come.
    void end() DOVRA_EXCLUDES(mutex_);

    /// Nobody waits for answers any more. Drops all waiting messages, requests a stop of the current one, and
    /// ends the queue.
    void abandon() DOVRA_EXCLUDES(mutex_);

    State state() const DOVRA_EXCLUDES(mutex_);

    /// Waits until the queue is idle, no longer than `patience`. Returns whether it is idle.
    bool waitUntilIdle(std::chrono::milliseconds patience) DOVRA_EXCLUDES(mutex_);

private:
    bool isIdle() const DOVRA_REQUIRES(mutex_) { return waiting_.empty() && !current_; }

    mutable Mutex mutex_;
    ConditionVariable changed_;
    std::deque<Entry> waiting_ DOVRA_GUARDED_BY(mutex_);
    std::optional<Entry> current_ DOVRA_GUARDED_BY(mutex_);
    std::size_t waitingBytes_ DOVRA_GUARDED_BY(mutex_) = 0;
    bool hasEnded_ DOVRA_GUARDED_BY(mutex_) = false;
    bool isAbandoned_ DOVRA_GUARDED_BY(mutex_) = false;
};

}  // namespace dovra
