#include "Base/Iso8601.hpp"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>

namespace dovra {

namespace {

using namespace std::chrono;

constexpr sys_seconds firstTime = sys_days(year(0) / 1 / 1);
constexpr sys_seconds endOfTimes = sys_days(year(10000) / 1 / 1);

double secondsOf(sys_seconds time) {
    return static_cast<double>(time.time_since_epoch().count());
}

}  // namespace

std::optional<std::string> iso8601Text(double seconds) {
    const double whole = std::floor(seconds);
    const bool fits = whole >= secondsOf(firstTime) && whole < secondsOf(endOfTimes);
    if (!fits) return std::nullopt;
    const sys_seconds time{std::chrono::seconds(static_cast<std::int64_t>(whole))};
    const sys_days day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

}  // namespace dovra
