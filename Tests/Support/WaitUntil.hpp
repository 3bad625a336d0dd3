#pragma once

#include <chrono>
#include <thread>

namespace dovra::test {

/// Waits until the condition holds; false when it does not within ten seconds.
template <typename Condition>
bool waitUntil(const Condition& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace dovra::test
