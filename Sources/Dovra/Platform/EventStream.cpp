#include "Platform/EventStream.hpp"

#include <algorithm>
#include <utility>

#include "Platform/Process.hpp"

namespace dovra {

namespace {

/// Events stay with the system for this time. It merges equal ones: a million small writes become some tens
/// of events, and writers are disturbed least.
constexpr std::chrono::milliseconds settlingTime{20};

/// The longest wait when no event is expected.
constexpr std::chrono::milliseconds idleWait{60'000};

}  // namespace

EventStream::EventStream(OpenSource open, std::function<void()> ring, std::stop_token stop,
                         std::chrono::milliseconds latency)
    : open_(std::move(open)),
      ring_(std::move(ring)),
      stop_(std::move(stop)),
      latency_(latency),
      thread_([this](const std::stop_token& ended) { run(ended); }),
      stopsThread_(stop_, [this] { thread_.request_stop(); }) {}

EventStream::~EventStream() = default;

ChangeFeed::State EventStream::state() const {
    const MutexGuard guard(mutex_);
    return state_;
}

std::optional<ChangeBatch> EventStream::take(std::chrono::milliseconds patience) {
    const auto deadline = Clock::now() + patience;
    std::uint64_t number = 0;
    std::shared_ptr<EventSource> source;
    {
        const MutexGuard guard(mutex_);
        if (state_ == State::refused) return ChangeBatch{};
        if (state_ == State::opening) return std::nullopt;
        number = ++takesAsked_;
        source = source_;
        changed_.notify_all();
    }
    source->wake();
    const MutexGuard guard(mutex_);
    const auto isAnswered = [&]() DOVRA_REQUIRES(mutex_) { return takesAnswered_ >= number; };
    if (!changed_.wait_until(mutex_, stop_, deadline, isAnswered)) return std::nullopt;
    return answered_.take();
}

std::vector<std::string> EventStream::polledTrees() const {
    const MutexGuard guard(mutex_);
    return polledTrees_;
}

std::string EventStream::coverage() const {
    const MutexGuard guard(mutex_);
    return coverage_;
}

void EventStream::run(const std::stop_token& stop) {
    setCurrentThreadName("dovra.fsevents");
    const std::shared_ptr<EventSource> source = open_(stop);
    if (source) publish(*source);
    {
        const MutexGuard guard(mutex_);
        source_ = source;
        state_ = source ? State::open : State::refused;
    }
    ring_();
    if (!source) return;
    const std::stop_callback waking(stop, [&] { source->wake(); });
    follow(*source, stop);
}

void EventStream::follow(EventSource& source, const std::stop_token& stop) {
    auto nextRing = Clock::now();
    bool hasRung = false;
    while (!stop.stop_requested()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextRing - Clock::now());
        const bool mayRing = source.hasChanges() && !hasRung;
        source.wait(mayRing ? std::clamp(left, std::chrono::milliseconds{0}, idleWait) : idleWait);
        settle(stop);
        source.drain();
        if (answer(source)) {
            hasRung = false;
            nextRing = Clock::now() + latency_;
        } else if (source.hasChanges() && !hasRung && Clock::now() >= nextRing) {
            hasRung = true;
            ring_();
        }
    }
}

/// Waits for the settling time, or until a caller wants to take.
void EventStream::settle(const std::stop_token& stop) {
    const MutexGuard guard(mutex_);
    const auto isAsked = [&]() DOVRA_REQUIRES(mutex_) { return takesAnswered_ < takesAsked_; };
    changed_.wait_for(mutex_, stop, settlingTime, isAsked);
}

/// Hands over the changes if a caller waits for them.
bool EventStream::answer(EventSource& source) {
    std::uint64_t asked = 0;
    {
        const MutexGuard guard(mutex_);
        asked = takesAsked_;
        if (takesAnswered_ == asked) return false;
    }
    auto batch = source.take({});
    publish(source);
    const MutexGuard guard(mutex_);
    if (batch) answered_.add(*std::move(batch));
    takesAnswered_ = asked;
    changed_.notify_all();
    return true;
}

void EventStream::publish(const EventSource& source) {
    std::vector<std::string> trees = source.polledTrees();
    std::string coverage = source.coverage();
    const MutexGuard guard(mutex_);
    polledTrees_ = std::move(trees);
    coverage_ = std::move(coverage);
}

}  // namespace dovra
