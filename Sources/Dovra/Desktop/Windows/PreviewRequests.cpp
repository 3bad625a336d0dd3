#include "Desktop/Windows/PreviewRequests.hpp"

#include <utility>

namespace dovra {

void PreviewRequests::ask(Load load) {
    cancel();
    isWaiting_ = true;
    const MainQueue::Time now = mainQueue_->now();
    const bool isQuick = asked_ + pause > now;
    asked_ = now;
    if (!isQuick) return start(std::move(load));
    mainQueue_->asyncAfter(pause, [weak = weak_from_this(), mine = request_, load = std::move(load)] {
        const auto self = weak.lock();
        if (self && self->request_ == mine) self->start(load);
    });
}

void PreviewRequests::cancel() {
    ++request_;
    isWaiting_ = false;
    next_ = {};
    stop_.request_stop();
    stop_ = {};
}

void PreviewRequests::start(Load load) {
    if (running_) {
        next_ = std::move(load);
        return;
    }
    if (stuck_ == mostStuck) {
        isWaiting_ = false;
        return showStuck();
    }
    running_ = request_;
    loadAsync_([weak = weak_from_this(), mine = request_, mainQueue = mainQueue_, load = std::move(load),
                stop = stop_.get_token()] {
        const auto content = std::make_shared<PreviewContent>(load(stop));
        mainQueue->async([weak, mine, content] {
            if (const auto self = weak.lock()) self->take(std::move(*content), mine);
        });
    });
    mainQueue_->asyncAfter(patience, [weak = weak_from_this(), mine = request_] {
        const auto self = weak.lock();
        if (self && self->running_ == mine) self->leaveBehind();
    });
}

void PreviewRequests::take(PreviewContent content, std::int64_t request) {
    if (running_ == request) {
        running_.reset();
    } else {
        --stuck_;
    }
    if (request == request_) {
        isWaiting_ = false;
        show_(std::move(content));
    }
    startNext();
}

void PreviewRequests::leaveBehind() {
    ++stuck_;
    // Its answer may still come.
    if (std::exchange(running_, std::nullopt) == request_) showStuck();
    startNext();
}

void PreviewRequests::startNext() {
    if (next_) start(std::exchange(next_, {}));
}

void PreviewRequests::showStuck() {
    show_({.reason = "the disk does not answer"});
}

}  // namespace dovra
