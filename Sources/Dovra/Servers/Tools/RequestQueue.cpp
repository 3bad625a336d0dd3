#include "Servers/Tools/RequestQueue.hpp"

#include <utility>

namespace dovra {

void RequestQueue::push(Message message, std::size_t bytes) {
    const MutexGuard guard(mutex_);
    if (isAbandoned_) return;
    waiting_.push_back({std::move(message), bytes});
    waitingBytes_ += bytes;
    changed_.notify_all();
}

const RequestQueue::Entry* RequestQueue::take() {
    const MutexGuard guard(mutex_);
    current_.reset();
    changed_.notify_all();
    changed_.wait(mutex_, [&]() DOVRA_REQUIRES(mutex_) { return !waiting_.empty() || hasEnded_; });
    if (waiting_.empty()) return nullptr;
    current_ = std::move(waiting_.front());
    waiting_.pop_front();
    waitingBytes_ -= current_->bytes;
    return &*current_;
}

void RequestQueue::cancel(const std::function<bool(const Message&)>& isMeant) {
    const MutexGuard guard(mutex_);
    if (current_ && isMeant(current_->message)) current_->stop.request_stop();
    std::erase_if(waiting_, [&](const Entry& entry) DOVRA_REQUIRES(mutex_) {
        const bool isDropped = isMeant(entry.message);
        if (isDropped) waitingBytes_ -= entry.bytes;
        return isDropped;
    });
}

void RequestQueue::end() {
    const MutexGuard guard(mutex_);
    hasEnded_ = true;
    changed_.notify_all();
}

void RequestQueue::abandon() {
    const MutexGuard guard(mutex_);
    isAbandoned_ = hasEnded_ = true;
    waiting_.clear();
    waitingBytes_ = 0;
    if (current_) current_->stop.request_stop();
    changed_.notify_all();
}

RequestQueue::State RequestQueue::state() const {
    const MutexGuard guard(mutex_);
    return {.isIdle = isIdle(), .isAbandoned = isAbandoned_, .bytes = waitingBytes_};
}

bool RequestQueue::waitUntilIdle(std::chrono::milliseconds patience) {
    const MutexGuard guard(mutex_);
    return changed_.wait_for(mutex_, patience, [&]() DOVRA_REQUIRES(mutex_) { return isIdle(); });
}

}  // namespace dovra
