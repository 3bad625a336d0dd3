#include "Index/StampClock.hpp"

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace dovra {

namespace {

using std::chrono::nanoseconds;

constexpr std::int64_t second = 1'000'000'000;

/// Times on disk advance in steps of up to two seconds, and the system's own are some milliseconds late.
constexpr std::int64_t coarsestStep = 3 * second;

}  // namespace

std::int64_t wallClockNow() {
    return nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

FolderStamp provenAt(const FolderStamp& stamp, std::int64_t listedAt) {
    const bool isOldEnough = std::max(stamp.modified, stamp.changed) <= listedAt - coarsestStep;
    return isOldEnough ? stamp : FolderStamp{};
}

StampClock::StampClock() : start_(read()) {}

FolderStamp StampClock::trusted(const FolderStamp& stamp) const {
    const Reading now = read();
    return wasSet(start_, now) ? FolderStamp{} : provenAt(stamp, now.wall);
}

StampClock::Reading StampClock::read() {
    const auto steady = std::chrono::steady_clock::now().time_since_epoch();
    return {.wall = wallClockNow(), .steady = nanoseconds(steady).count()};
}

bool StampClock::wasSet(const Reading& from, const Reading& to) {
    return std::abs((to.wall - from.wall) - (to.steady - from.steady)) > second;
}

}  // namespace dovra
