#pragma once

#include <chrono>
#include <cstdint>

namespace dovra {

/// When days begin on the user's clock, by the system's own time-zone data. Safe from any thread.
class LocalCalendar {
public:
    /// Takes up the time zone that holds now: `TZ`, else the system's, which may have changed since the last
    /// time. Objects made before follow.
    LocalCalendar();

    /// The Gregorian day on the clock at a time in seconds since 1970.
    std::chrono::local_days dayAt(std::int64_t time) const;

    /// The first second of a day. Where the clock skips midnight it is the one at which the clock goes on;
    /// where midnight comes twice, the first. A day that the clock skips as a whole begins with the next.
    std::int64_t startOf(std::chrono::local_days day) const;

    /// The first day of the week in the user's locale (`LC_TIME`).
    std::chrono::weekday firstWeekday() const;
};

}  // namespace dovra
