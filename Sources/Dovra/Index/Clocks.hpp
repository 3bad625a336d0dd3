#pragma once

#include <algorithm>
#include <cstdint>

#include "Platform/OpenFolder.hpp"

namespace dovra {

/// The wall clock, nanoseconds since 1970.
std::int64_t wallClockNow();

/// Nanoseconds by a clock that nobody sets.
std::int64_t steadyClockNow();

/// Both clocks at one moment; by default now.
struct ClockReading {
    std::int64_t wall = wallClockNow();
    std::int64_t steady = steadyClockNow();
};

/// Judges the stamps of one scan. Any thread.
class StampClock {
public:
    /// The scan begins.
    explicit StampClock(const ClockReading& start = {}) : start_(start) {}

    /// The stamp of a folder that is about to be listed, or one that is not known when it proves nothing. A
    /// change after the listing must give another stamp, and a time that is younger than the coarsest step of
    /// a file system's clock could come again. So could one in the future, once the clock gets there. And
    /// since the wall clock was set (it went on by a second more or less than the steady one; what keeps it
    /// right goes in smaller steps) it says nothing about the order of two changes.
    FolderStamp trusted(const FolderStamp& stamp, const ClockReading& now = {}) const;

private:
    ClockReading start_;
};

/// Stands for a moment in the history of the disk's changes: the wall clock in nanoseconds since 1970, but
/// never less than `previous`, the last identifier given (0 when there was none), even if the clock is set
/// back.
inline std::uint64_t nextEventId(std::uint64_t previous, std::int64_t now = wallClockNow()) {
    return std::max(previous, static_cast<std::uint64_t>(std::max<std::int64_t>(now, 0)));
}

/// Whether an identifier lies before `now`. One that does not was given by another clock, and says nothing
/// about which changes came after it.
inline bool isPastEvent(std::uint64_t eventId, std::int64_t now) {
    return now >= 0 && eventId <= static_cast<std::uint64_t>(now);
}

}  // namespace dovra
