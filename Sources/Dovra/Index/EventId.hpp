#pragma once

#include <algorithm>
#include <cstdint>

#include "Index/StampClock.hpp"

namespace dovra {

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
