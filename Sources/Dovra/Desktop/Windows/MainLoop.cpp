#include "Desktop/Windows/MainLoop.hpp"

#include <algorithm>
#include <chrono>

namespace dovra {

MainLoop::MainLoop() {
    {
        const MutexGuard guard(alarm_->mutex);
        alarm_->timer = &timer_;
    }
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer_, &QTimer::timeout, [this] { run(); });
    queue_ = std::make_shared<MainQueue>([alarm = alarm_] {
        const MutexGuard guard(alarm->mutex);
        QTimer* timer = alarm->timer;
        if (timer != nullptr) QMetaObject::invokeMethod(timer, [timer] { timer->start(0); });
    });
}

MainLoop::~MainLoop() {
    const MutexGuard guard(alarm_->mutex);
    alarm_->timer = nullptr;
}

void MainLoop::run() {
    const MainQueue::Time next = queue_->run();
    if (next == MainQueue::Time::max()) return;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - queue_->now());
    timer_.start(std::max(left, std::chrono::milliseconds(0)));
}

}  // namespace dovra
