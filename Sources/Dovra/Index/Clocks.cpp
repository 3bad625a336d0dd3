#include "Index/Clocks.hpp"

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace dovra {

namespace {

using std::chrono::nanoseconds;

constexpr std::int64_t second = 1'000'000'000;

/// Times on disk advance in steps of up to two seconds, and the times that the system sets are some
/// milliseconds late.
constexpr std::int64_t coarsestStep = 3 * second;

}  // namespace

std::int64_t wallClockNow() {
    return nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::int64_t steadyClockNow() {
    return nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

FolderStamp StampClock::trusted(const FolderStamp& stamp, const ClockReading& now) const {
    const bool wasSet = std::abs((now.wall - start_.wall) - (now.steady - start_.steady)) > second;
    const bool isOldEnough = std::max(stamp.modified, stamp.changed) <= now.wall - coarsestStep;
    return isOldEnough && !wasSet ? stamp : FolderStamp{};
}

}  // namespace dovra
