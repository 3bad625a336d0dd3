#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "Platform/ChangeBatch.hpp"
#include "Platform/EventSource.hpp"

namespace dovra {

/// Batches of changes from a source, on a thread of its own. From its creation on the stream gathers; once it
/// is live it delivers: the first change of a quiet period at once, further ones at most once in each
/// `latency`. So whoever scans between the two misses nothing.
///
/// Any thread may call its operations.
class EventStream {
public:
    /// Called on the stream's thread, one batch after another, none empty. Must not end the stream.
    using Deliver = std::function<void(ChangeBatch batch)>;

    EventStream(std::unique_ptr<EventSource> source, std::chrono::milliseconds latency);
    /// Returns when no delivery runs any more; what was gathered is dropped.
    ~EventStream();
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    /// Delivers what was gathered, and all that follows. To be called once.
    void goLive(Deliver deliver);

    /// Returns when every change that was made before the call has been delivered, without the latency. False
    /// when the deadline was reached before, or when the stream is not live.
    bool flush(std::chrono::milliseconds deadline);

    std::string coverage() const { return source_->coverage(); }

private:
    using Clock = std::chrono::steady_clock;

    void run(const std::stop_token& stop);
    std::chrono::milliseconds untilDelivery() const;
    void settle(const std::stop_token& stop);
    void deliverIfDue(bool isFlush);

    const std::unique_ptr<EventSource> source_;
    const std::chrono::milliseconds latency_;

    // The stream's thread's own.
    Clock::time_point nextDelivery_ = Clock::time_point::min();
    bool isLive_ = false;

    std::mutex mutex_;  ///< guards what follows
    std::condition_variable_any changed_;
    Deliver deliver_;
    std::uint64_t flushesAsked_ = 0;
    std::uint64_t flushesDone_ = 0;

    std::jthread thread_;  ///< last: it ends before what it uses
};

}  // namespace dovra
