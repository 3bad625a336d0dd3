#include "Servers/Http/RelativeTime.hpp"

#include <array>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <string_view>

namespace dovra {

namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;

struct Unit {
    double until;  ///< ages from here on are told in the next unit
    double length;
    std::string_view name;
};

constexpr std::array units = {
    Unit{hour, minute, "minute"},
    Unit{day, hour, "hour"},
    Unit{14 * day, day, "day"},
    Unit{60 * day, 7 * day, "week"},
    Unit{730 * day, 30.44 * day, "month"},
    Unit{HUGE_VAL, 365.25 * day, "year"},
};

}  // namespace

std::string relativeTime(double time, double now) {
    const double age = now - time;
    if (age < -minute) return "in the future";
    if (age < minute) return "just now";
    std::size_t unit = 0;
    while (age >= units[unit].until)
        ++unit;
    const auto count = static_cast<std::int64_t>(age / units[unit].length);
    return fmt::format("{} {}{} ago", count, units[unit].name, count == 1 ? "" : "s");
}

std::string localTime(double time) {
    constexpr double endOfYear9999 = 253402300800;
    if (std::abs(time) >= endOfYear9999) return {};
    return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(static_cast<std::time_t>(time)));
}

}  // namespace dovra
