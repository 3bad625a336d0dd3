#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace dovra {

/// Calls a function on a thread of its own: at once, and then again after each wait of `between`. The
/// destructor waits for a call that runs, and for no other.
class PeriodicCall {
public:
    PeriodicCall(std::chrono::milliseconds between, std::function<void()> call);

private:
    std::jthread thread_;
};

}  // namespace dovra
