#pragma once

#include <QTimer>
#include <memory>

#include "Platform/MainQueue.hpp"

namespace dovra {

/// A main queue that the toolkit's event loop pumps, and the pump. Made and destroyed on the main thread.
class MainLoop {
public:
    MainLoop();
    ~MainLoop() { timer_->disconnect(); }
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    const std::shared_ptr<MainQueue>& queue() const { return queue_; }

private:
    void run();

    std::shared_ptr<QTimer> timer_;  ///< for the next work; other threads wake it
    std::shared_ptr<MainQueue> queue_;
};

}  // namespace dovra
