#include "Platform/EventStream.hpp"

#include <algorithm>
#include <utility>

#include "Platform/CurrentThread.hpp"

namespace dovra {

namespace {

/// How long to leave events with the system, which merges equal ones: a million small writes become some
/// tens of events, and writers are disturbed least.
constexpr std::chrono::milliseconds settlingTime{20};

/// How often to look whether there is anything to do, with nothing known to wait for.
constexpr std::chrono::milliseconds idleWait{60'000};

}  // namespace

EventStream::EventStream(std::unique_ptr<EventSource> source, std::chrono::milliseconds latency)
    : source_(std::move(source)),
      latency_(latency),
      thread_([this](const std::stop_token& stop) { run(stop); }) {}

EventStream::~EventStream() {
    thread_.request_stop();
    source_->stop();
}

void EventStream::goLive(Deliver deliver) {
    {
        const std::scoped_lock lock(mutex_);
        deliver_ = std::move(deliver);
    }
    source_->wake();
}

bool EventStream::flush(std::chrono::milliseconds deadline) {
    std::unique_lock lock(mutex_);
    if (!deliver_) return false;
    const std::uint64_t number = ++flushesAsked_;
    changed_.notify_all();
    source_->wake();
    return changed_.wait_for(lock, deadline, [&] { return flushesDone_ >= number; });
}

void EventStream::run(const std::stop_token& stop) {
    setCurrentThreadName("dovra.events");
    while (!stop.stop_requested()) {
        source_->wait(untilDelivery());
        settle(stop);
        std::uint64_t asked = 0;
        bool isFlush = false;
        {
            const std::scoped_lock lock(mutex_);
            asked = flushesAsked_;
            isFlush = flushesDone_ < asked;
        }
        source_->drain();
        deliverIfDue(isFlush);
        const std::scoped_lock lock(mutex_);
        flushesDone_ = asked;
        changed_.notify_all();
    }
}

/// Time that may pass before there is something to deliver, unless something happens.
std::chrono::milliseconds EventStream::untilDelivery() const {
    if (!isLive_ || !source_->hasChanges()) return idleWait;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextDelivery_ - Clock::now());
    return std::clamp(left, std::chrono::milliseconds{0}, idleWait);
}

/// Waits for the settling time; a flush cuts it short.
void EventStream::settle(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, stop, settlingTime, [&] { return flushesDone_ < flushesAsked_; });
}

void EventStream::deliverIfDue(bool isFlush) {
    Deliver deliver;
    {
        const std::scoped_lock lock(mutex_);
        deliver = deliver_;
    }
    isLive_ = deliver != nullptr;
    const bool isDue = isLive_ && (isFlush || Clock::now() >= nextDelivery_);
    if (!isDue || !source_->hasChanges()) return;
    auto batch = source_->take({});
    if (!batch || batch->empty()) return;
    deliver(*std::move(batch));
    nextDelivery_ = Clock::now() + latency_;
}

}  // namespace dovra
