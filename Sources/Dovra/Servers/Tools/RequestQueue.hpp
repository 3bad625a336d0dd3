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

/// What a line of the client says.
struct Message {
    JSONValue value;
    bool isReply = false;  ///< the line was no message: this is what it is answered with
};

/// The messages that have been read and are not answered yet, in their order. One thread puts them in, one
/// takes them out and answers them.
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

    /// Waits for the next message, which is being answered until the next call of this, and valid until then.
    /// Null when none is left and none will come.
    const Entry* take() DOVRA_EXCLUDES(mutex_);

    /// Drops the messages that are meant, and asks for a stop where one is being answered.
    void cancel(const std::function<bool(const Message&)>& isMeant) DOVRA_EXCLUDES(mutex_);

    /// Nothing more will come.
    void end() DOVRA_EXCLUDES(mutex_);

    /// Nobody waits for answers any more: drops and stops all there is, and ends.
    void abandon() DOVRA_EXCLUDES(mutex_);

    State state() const DOVRA_EXCLUDES(mutex_);

    /// Waits, no longer than that; whether the queue is idle.
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
