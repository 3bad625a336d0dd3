#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "Base/Locks.hpp"
#include "Platform/ChangeFeed.hpp"
#include "Platform/EventSource.hpp"

namespace dovra {

/// A source on a thread of its own ("dovra.fsevents"), which opens it and empties the system's queue as
/// events come. A ring announces changes, and the owner takes them.
///
/// Any thread may call its operations, but only one at a time may call `take`.
class EventStream final : public ChangeFeed {
public:
    /// Opens the source; null when there is no folder to watch. A request to stop ends the opening, and later
    /// the waiting.
    using OpenSource = std::function<std::unique_ptr<EventSource>(const std::stop_token& stop)>;

    /// The shortest time between a `take` and the next ring.
    static constexpr std::chrono::milliseconds defaultLatency{1000};

    /// `ring` is called on the stream's thread: when the source was opened or refused, and when there are
    /// changes, at most once until they are taken. The first change of a quiet period rings at once, further
    /// ones ring when `latency` has passed since the last `take`. `ring` must not end the stream. A request
    /// to `stop` ends opening and taking soon.
    EventStream(OpenSource open, std::function<void()> ring, std::stop_token stop = {},
                std::chrono::milliseconds latency = defaultLatency);
    ~EventStream() override;
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    State state() const override;
    std::optional<ChangeBatch> take(std::chrono::milliseconds patience) override;
    std::vector<std::string> polledTrees() const override;
    std::string coverage() const override;

private:
    using Clock = std::chrono::steady_clock;

    void run(const std::stop_token& stop);
    void follow(EventSource& source, const std::stop_token& stop);
    void settle(const std::stop_token& stop);
    bool answer(EventSource& source);
    void publish(const EventSource& source);

    const OpenSource open_;
    const std::function<void()> ring_;
    const std::stop_token stop_;
    const std::chrono::milliseconds latency_;

    mutable Mutex mutex_;
    ConditionVariable changed_;
    State state_ DOVRA_GUARDED_BY(mutex_) = State::opening;
    std::shared_ptr<EventSource> source_ DOVRA_GUARDED_BY(mutex_);  ///< other threads may only wake it
    std::uint64_t takesAsked_ DOVRA_GUARDED_BY(mutex_) = 0;
    std::uint64_t takesAnswered_ DOVRA_GUARDED_BY(mutex_) = 0;
    ChangeSet answered_ DOVRA_GUARDED_BY(mutex_);
    std::vector<std::string> polledTrees_ DOVRA_GUARDED_BY(mutex_);
    std::string coverage_ DOVRA_GUARDED_BY(mutex_);

    std::jthread thread_;  ///< ends before the members that it uses
    std::stop_callback<std::function<void()>> stopsThread_;
};

}  // namespace dovra
