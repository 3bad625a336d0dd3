#include "Base/PeriodicCall.hpp"

#include <stop_token>
#include <utility>

#include "Base/Locks.hpp"

namespace dovra {

namespace {

/// Waits for the time to pass or for a stop. Returns whether a stop is requested.
bool isStoppedWithin(std::chrono::milliseconds time, const std::stop_token& stop) {
    Mutex mutex;
    ConditionVariable stopped;
    const MutexGuard lock(mutex);
    return stopped.wait_for(mutex, stop, time, [&] { return stop.stop_requested(); });
}

}  // namespace

PeriodicCall::PeriodicCall(std::chrono::milliseconds between, std::function<void()> call)
    : thread_([between, call = std::move(call)](const std::stop_token& stop) {
          do {
              call();
          } while (!isStoppedWithin(between, stop));
      }) {}

}  // namespace dovra
