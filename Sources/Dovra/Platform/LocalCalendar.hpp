#pragma once

#include <chrono>
#include <cstdint>

namespace dovra {

/// The days on the user's clock, by the system's own time-zone data. Any thread may use it.
class LocalCalendar {
public:
    /// Reads the present time zone: `TZ`, else the system's, which may have changed since the last time.
    /// Earlier objects follow.
    LocalCalendar();

    /// The Gregorian day on the clock at a time in seconds since 1970.
    std::chrono::local_days dayAt(std::int64_t time) const;

    /// The first second of a day. If the clock skips midnight, it is the second after the gap; if midnight
    /// comes twice, it is the first one. A day that the clock skips as a whole begins with the next day.
    std::int64_t startOf(std::chrono::local_days day) const;

    /// The first day of the week in the user's locale (`LC_TIME`).
    std::chrono::weekday firstWeekday() const;
};

}  // namespace dovra
