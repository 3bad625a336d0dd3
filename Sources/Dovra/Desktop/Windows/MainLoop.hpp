#pragma once

#include <QTimer>
#include <memory>

#include "Base/Locks.hpp"
#include "Platform/MainQueue.hpp"

namespace dovra {

/// A main queue that the toolkit's event loop pumps, and the pump. Made and destroyed on the main thread.
class MainLoop {
public:
    MainLoop();
    ~MainLoop();
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    const std::shared_ptr<MainQueue>& queue() const { return queue_; }

private:
    /// What other threads reach of it, which may outlive it.
    struct Alarm {
        Mutex mutex;
        QTimer* timer DOVRA_GUARDED_BY(mutex) = nullptr;
    };

    void run();

    QTimer timer_;  ///< for the next work
    std::shared_ptr<Alarm> alarm_ = std::make_shared<Alarm>();
    std::shared_ptr<MainQueue> queue_;
};

}  // namespace dovra
