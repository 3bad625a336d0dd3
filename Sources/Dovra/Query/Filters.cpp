#include "Query/Filters.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "Base/TextNeedle.hpp"
#include "Platform/LocalCalendar.hpp"

namespace dovra {

namespace {

constexpr std::pair<std::string_view, int> unitShifts[] = {{"", 0},   {"b", 0},   {"k", 10}, {"kb", 10},
                                                           {"m", 20}, {"mb", 20}, {"g", 30}, {"gb", 30},
                                                           {"t", 40}, {"tb", 40}};

/// The double nearest to a number that is out of its range.
double numberOutOfRange(std::string_view digits) {
    const std::string_view whole = digits.substr(0, digits.find('.'));
    const bool isHuge = whole.find_first_not_of('0') != std::string_view::npos;
    return isHuge ? std::numeric_limits<double>::infinity() : 0;
}

std::optional<double> takeNumber(std::string_view& value) {
    const std::size_t length = std::min(value.find_first_not_of("0123456789."), value.size());
    const std::string_view digits = value.substr(0, length);
    value.remove_prefix(length);
    double number = 0;
    const char* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, number, std::chars_format::fixed);
    if (result.ec == std::errc::invalid_argument || result.ptr != end) return std::nullopt;
    return result.ec == std::errc::result_out_of_range ? numberOutOfRange(digits) : number;
}

std::optional<double> unitBytes(std::string_view unit) {
    const auto* const found =
        std::ranges::find(unitShifts, lowercased(unit), [](const auto& entry) { return entry.first; });
    if (found == std::end(unitShifts)) return std::nullopt;
    return static_cast<double>(std::uint64_t{1} << found->second);
}

std::uint64_t saturated(double bytes) {
    constexpr double beyond = 18446744073709551616.0;  // 2^64
    return bytes < beyond ? static_cast<std::uint64_t>(bytes) : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

std::optional<SizeFilter> parseSize(std::string_view value) {
    const Comparison op = takeComparison(value);
    const std::optional<double> number = takeNumber(value);
    if (!number) return std::nullopt;
    const std::optional<double> unit = unitBytes(value);
    if (!unit) return std::nullopt;
    return SizeFilter{.op = op, .bytes = saturated(*number * *unit)};
}

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
    bool isLast;  ///< the period before the present one
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
std::optional<int> takeDatePart(std::string_view& text) {
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
        const std::optional<int> number = takeDatePart(text);
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
