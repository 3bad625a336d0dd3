#include "Base/Iso8601.hpp"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>

namespace dovra {

namespace {

namespace chrono = std::chrono;

constexpr chrono::sys_seconds firstTime = chrono::sys_days(chrono::year(0) / 1 / 1);
constexpr chrono::sys_seconds endOfTimes = chrono::sys_days(chrono::year(10000) / 1 / 1);

double secondsOf(chrono::sys_seconds time) {
    return static_cast<double>(time.time_since_epoch().count());
}

}  // namespace

std::optional<std::string> iso8601Text(double seconds) {
    const double whole = std::floor(seconds);
    const bool fits = whole >= secondsOf(firstTime) && whole < secondsOf(endOfTimes);
    if (!fits) return std::nullopt;
    const chrono::sys_seconds time{chrono::seconds(static_cast<std::int64_t>(whole))};
    const chrono::sys_days day = chrono::floor<chrono::days>(time);
    const chrono::year_month_day date(day);
    const chrono::hh_mm_ss clock(time - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

}  // namespace dovra
