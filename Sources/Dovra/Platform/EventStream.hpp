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

/// A source on a thread of its own ("dovra.fsevents"), which opens it and empties the system's queue as soon
/// as something is in it. Whoever wants the changes takes them; a ring tells that there are some.
///
/// Any thread may call its operations, but one at a time may take.
class EventStream final : public ChangeFeed {
public:
    /// Opens the source; null when there is nothing to watch. A request to stop ends the opening, and later
    /// the waiting.
    using OpenSource = std::function<std::unique_ptr<EventSource>(const std::stop_token& stop)>;

    /// How long the changes that follow a first one are gathered.
    static constexpr std::chrono::milliseconds defaultLatency{1000};

    /// `ring` is called on the stream's thread: when the source was opened or refused, and when there is
    /// something to take, at most once until it is taken. The first change of a quiet period rings at once,
    /// further ones when `latency` has passed since the last were taken. It must not end the stream. A
    /// request to `stop` ends opening and taking soon.
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
    std::shared_ptr<EventSource> source_ DOVRA_GUARDED_BY(mutex_);  ///< for others only to be woken
    std::uint64_t takesAsked_ DOVRA_GUARDED_BY(mutex_) = 0;
    std::uint64_t takesAnswered_ DOVRA_GUARDED_BY(mutex_) = 0;
    ChangeSet answered_ DOVRA_GUARDED_BY(mutex_);
    std::vector<std::string> polledTrees_ DOVRA_GUARDED_BY(mutex_);
    std::string coverage_ DOVRA_GUARDED_BY(mutex_);

    std::jthread thread_;  ///< it ends before what it uses
    std::stop_callback<std::function<void()>> stopsThread_;
};

}  // namespace dovra
