#include "Desktop/Windows/MainLoop.hpp"

#include <algorithm>
#include <chrono>

namespace dovra {

MainLoop::MainLoop() : timer_(std::make_shared<QTimer>()) {
    timer_->setSingleShot(true);
    timer_->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer_.get(), &QTimer::timeout, [this] { run(); });
    queue_ = std::make_shared<MainQueue>([timer = timer_] {
        QMetaObject::invokeMethod(timer.get(), [timer = timer.get()] { timer->start(0); });
    });
}

void MainLoop::run() {
    const MainQueue::Time next = queue_->run();
    if (next == MainQueue::Time::max()) return;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - queue_->now());
    timer_->start(std::max(left, std::chrono::milliseconds(0)));
}

}  // namespace dovra
