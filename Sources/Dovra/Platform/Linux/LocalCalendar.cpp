#include "Platform/LocalCalendar.hpp"

#include <ctime>
#include <langinfo.h>
#include <locale.h>

namespace dovra {

namespace {

constexpr std::int64_t secondsPerDay = 86400;

std::tm clockAt(std::int64_t time) {
    const std::time_t seconds = time;
    std::tm clock{};
    ::localtime_r(&seconds, &clock);
    return clock;
}

}  // namespace

LocalCalendar::LocalCalendar() {
    ::tzset();
}

std::chrono::local_days LocalCalendar::dayAt(std::int64_t time) const {
    const std::tm clock = clockAt(time);
    const auto month = static_cast<unsigned>(clock.tm_mon + 1);
    const auto day = static_cast<unsigned>(clock.tm_mday);
    return std::chrono::local_days(std::chrono::year(clock.tm_year + 1900) / month / day);
}

std::int64_t LocalCalendar::startOf(std::chrono::local_days day) const {
    const auto isReached = [&](std::int64_t time) { return dayAt(time) >= day; };
    const std::int64_t midnight = std::chrono::seconds(day.time_since_epoch()).count();
    const std::int64_t usual = midnight - clockAt(midnight - secondsPerDay).tm_gmtoff;
    if (isReached(usual) && !isReached(usual - 1)) return usual;
    // The clock was put forward or back in between.
    std::int64_t before = midnight - 2 * secondsPerDay;
    std::int64_t reached = midnight + 2 * secondsPerDay;
    while (reached - before > 1) {
        const std::int64_t middle = before + (reached - before) / 2;
        (isReached(middle) ? reached : before) = middle;
    }
    return reached;
}

std::chrono::weekday LocalCalendar::firstWeekday() const {
    // The program never sets its own locale. A locale that is not installed counts as "C": Sunday.
    const locale_t locale = ::newlocale(LC_TIME_MASK, "", nullptr);
    if (locale == nullptr) return std::chrono::Sunday;
    // The first weekday is counted from the weekday of a date. That date is a number in the lower half of the
    // returned pointer.
    const auto origin = reinterpret_cast<std::uintptr_t>(::nl_langinfo_l(_NL_TIME_WEEK_1STDAY, locale));
    const bool isMonday = static_cast<std::uint32_t>(origin) == 19971201;
    const auto ordinal = static_cast<std::uint8_t>(*::nl_langinfo_l(_NL_TIME_FIRST_WEEKDAY, locale));
    ::freelocale(locale);
    return (isMonday ? std::chrono::Monday : std::chrono::Sunday) + std::chrono::days(ordinal - 1);
}

}  // namespace dovra
