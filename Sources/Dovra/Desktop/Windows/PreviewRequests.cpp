#include "Desktop/Windows/PreviewRequests.hpp"

#include <utility>

namespace dovra {

void PreviewRequests::ask(Load load) {
    cancel();
    isWaiting_ = true;
    const MainQueue::Time now = mainQueue_->now();
    const bool isQuick = asked_ + pause > now;
    asked_ = now;
    if (!isQuick) return start(load);
    mainQueue_->asyncAfter(pause, [weak = weak_from_this(), mine = request_, load = std::move(load)] {
        const auto self = weak.lock();
        if (self && self->request_ == mine) self->start(load);
    });
}

void PreviewRequests::cancel() {
    ++request_;
    isWaiting_ = false;
    stop_.request_stop();
    stop_ = {};
}

void PreviewRequests::start(const Load& load) {
    loadAsync_(
        [weak = weak_from_this(), mine = request_, mainQueue = mainQueue_, load, stop = stop_.get_token()] {
            if (stop.stop_requested()) return;
            const auto content = std::make_shared<PreviewContent>(load(stop));
            mainQueue->async([weak, mine, content] {
                if (const auto self = weak.lock()) self->take(std::move(*content), mine);
            });
        });
}

void PreviewRequests::take(PreviewContent content, std::int64_t request) {
    if (request != request_) return;
    isWaiting_ = false;
    show_(std::move(content));
}

}  // namespace dovra
