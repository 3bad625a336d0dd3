#include "Query/DateFilter.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <string>

#include "Base/TextNeedle.hpp"
#include "Platform/LocalCalendar.hpp"
#include "Query/Comparison.hpp"

namespace dovra {

namespace {

namespace chrono = std::chrono;

enum class Unit : std::uint8_t { day, week, month, year };

struct Period {
    chrono::local_days firstDay;
    double start;
    double end;
};

struct Keyword {
    std::string_view word;
    Unit unit;
    bool isLast;  ///< the one before the present one
};

constexpr Keyword keywords[] = {
    {"today", Unit::day, false},     {"yesterday", Unit::day, true},    {"thisweek", Unit::week, false},
    {"lastweek", Unit::week, true},  {"thismonth", Unit::month, false}, {"lastmonth", Unit::month, true},
    {"thisyear", Unit::year, false}, {"lastyear", Unit::year, true},
};

/// The period of one unit that contains the day.
Period periodAround(chrono::local_days day, Unit unit, const LocalCalendar& calendar) {
    const chrono::year_month_day date(day);
    const chrono::year_month month = date.year() / date.month();
    const auto between = [&](chrono::local_days first, chrono::local_days next) {
        return Period{.firstDay = first,
                      .start = static_cast<double>(calendar.startOf(first)),
                      .end = static_cast<double>(calendar.startOf(next))};
    };
    switch (unit) {
        case Unit::day:
            return between(day, day + chrono::days(1));
        case Unit::week: {
            const chrono::local_days first = day - (chrono::weekday(day) - calendar.firstWeekday());
            return between(first, first + chrono::weeks(1));
        }
        case Unit::month:
            return between(chrono::local_days(month / 1),
                           chrono::local_days((month + chrono::months(1)) / 1));
        case Unit::year:
            break;
    }
    return between(chrono::local_days(date.year() / 1 / 1),
                   chrono::local_days((date.year() + chrono::years(1)) / 1 / 1));
}

/// A number of one to four digits at the start of the text, which is removed.
std::optional<int> takeNumber(std::string_view& text) {
    const std::size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
    if (length == 0 || length > 4) return std::nullopt;
    int number = 0;
    for (const char digit : text.substr(0, length))
        number = number * 10 + (digit - '0');
    text.remove_prefix(length);
    return number;
}

std::optional<Period> explicitPeriod(std::string_view text, const LocalCalendar& calendar) {
    constexpr Unit units[] = {Unit::year, Unit::month, Unit::day};
    std::array<int, 3> numbers = {1, 1, 1};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::optional<int> number = takeNumber(text);
        if (!number) return std::nullopt;
        numbers[i] = *number;
        if (text.empty()) {
            const auto [year, month, day] = numbers;
            const auto date = chrono::year(year) / month / day;
            const bool exists = year > 0 && date.ok();
            if (!exists) return std::nullopt;
            return periodAround(chrono::local_days(date), units[i], calendar);
        }
        if (text.front() != '-') return std::nullopt;
        text.remove_prefix(1);
    }
    return std::nullopt;
}

DateFilter filterOf(Comparison comparison, Period period) {
    constexpr double openStart = 0;
    constexpr double openEnd = std::numeric_limits<double>::max();
    switch (comparison) {
        case Comparison::ge:
            return {period.start, openEnd};
        case Comparison::gt:
            return {period.end, openEnd};
        case Comparison::lt:
            return {openStart, period.start};
        case Comparison::le:
            return {openStart, period.end};
        case Comparison::eq:
            break;
    }
    return {period.start, period.end};
}

}  // namespace

std::optional<DateFilter> parseDate(std::string_view value, double now) {
    const std::string lower = lowercased(value);
    const LocalCalendar calendar;
    for (const Keyword& keyword : keywords) {
        if (lower != keyword.word) continue;
        const chrono::local_days today = calendar.dayAt(static_cast<std::int64_t>(std::floor(now)));
        Period period = periodAround(today, keyword.unit, calendar);
        if (keyword.isLast) period = periodAround(period.firstDay - chrono::days(1), keyword.unit, calendar);
        return filterOf(Comparison::eq, period);
    }
    std::string_view text = lower;
    const Comparison comparison = takeComparison(text);
    const std::optional<Period> period = explicitPeriod(text, calendar);
    return period ? std::optional(filterOf(comparison, *period)) : std::nullopt;
}

std::optional<DateFilter> parseDate(std::string_view value) {
    const chrono::duration<double> sinceEpoch = chrono::system_clock::now().time_since_epoch();
    return parseDate(value, sinceEpoch.count());
}

}  // namespace dovra
