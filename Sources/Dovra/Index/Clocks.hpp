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

    /// Takes the stamp of a folder that is about to be listed. `now` is a time before the folder was opened
    /// or last rewound, because some file systems list the entries of that moment. Returns it, or an unknown
    /// one if it proves nothing. A stamp is proof only if each change after the listing gives another one. A
    /// time younger than the coarsest step of a file system's clock may come again, and so may one in the
    /// future. Once the wall clock was set, times say nothing about the order of changes. It was set if it
    /// went on by a second more or less than the steady clock; routine corrections go in smaller steps.
    FolderStamp trusted(const FolderStamp& stamp, const ClockReading& now = {}) const;

private:
    ClockReading start_;
};

/// The identifier of a moment in the history of the disk's changes: the wall clock in nanoseconds since 1970.
/// It is never less than `previous`, the last identifier given (0 for none), even after the clock is set
/// back.
inline std::uint64_t nextEventId(std::uint64_t previous, std::int64_t now = wallClockNow()) {
    return std::max(previous, static_cast<std::uint64_t>(std::max<std::int64_t>(now, 0)));
}

/// Whether an identifier lies before `now`. Any other identifier was given by another clock, and says nothing
/// about later changes.
inline bool isPastEvent(std::uint64_t eventId, std::int64_t now) {
    return now >= 0 && eventId <= static_cast<std::uint64_t>(now);
}

}  // namespace dovra
