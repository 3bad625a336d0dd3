#include "Query/DateFilter.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <unicode/calendar.h>

#include "Base/UnicodeFold.hpp"
#include "Query/Comparison.hpp"

namespace dovra {

namespace {

enum class Unit : std::uint8_t { day, week, month, year };

/// A moment in milliseconds since 1970, as the calendar counts.
using Moment = UDate;

struct Period {
    double start;
    double end;
};

struct Keyword {
    std::string_view word;
    Unit unit;
    /// How many units before the present one.
    int ago;
};

constexpr Keyword keywords[] = {
    {"today", Unit::day, 0},     {"yesterday", Unit::day, 1},   {"thisweek", Unit::week, 0},
    {"lastweek", Unit::week, 1}, {"thismonth", Unit::month, 0}, {"lastmonth", Unit::month, 1},
    {"thisyear", Unit::year, 0}, {"lastyear", Unit::year, 1},
};

constexpr UCalendarDateFields fieldOf(Unit unit) {
    switch (unit) {
        case Unit::day:
            return UCAL_DATE;
        case Unit::week:
            return UCAL_WEEK_OF_YEAR;
        case Unit::month:
            return UCAL_MONTH;
        case Unit::year:
            break;
    }
    return UCAL_YEAR;
}

/// The calendar of the user's locale and time zone.
class UserCalendar {
public:
    UserCalendar() : calendar_(icu::Calendar::createInstance(status_)) {
        require();
        // A day whose midnight the clock skips begins when the clock goes on; one whose midnight comes twice
        // begins with the first.
        calendar_->setSkippedWallTimeOption(UCAL_WALLTIME_NEXT_VALID);
        calendar_->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
    }

    Moment before(Moment moment, Unit unit, int count) {
        calendar_->setTime(moment, status_);
        calendar_->add(fieldOf(unit), -count, status_);
        return time();
    }

    /// The calendar's period of one unit that contains the moment.
    Period interval(Moment moment, Unit unit) {
        calendar_->setTime(moment, status_);
        const int year = get(UCAL_EXTENDED_YEAR);
        const int month = get(UCAL_MONTH);
        const int day = get(UCAL_DATE);
        switch (unit) {
            case Unit::day:
                return between({year, month, day}, {year, month, day + 1});
            case Unit::week: {
                const int first = day - (get(UCAL_DAY_OF_WEEK) - calendar_->getFirstDayOfWeek() + 7) % 7;
                return between({year, month, first}, {year, month, first + 7});
            }
            case Unit::month:
                return between({year, month, 1}, {year, month + 1, 1});
            case Unit::year:
                break;
        }
        return between({year, 0, 1}, {year + 1, 0, 1});
    }

    /// Noon of a day (month and day count from 1); absent when the calendar has no such day.
    std::optional<Moment> noon(int year, int month, int day) {
        calendar_->clear();
        calendar_->set(UCAL_YEAR, year);
        calendar_->set(UCAL_MONTH, month - 1);
        calendar_->set(UCAL_DATE, day);
        calendar_->set(UCAL_HOUR_OF_DAY, 12);
        const Moment moment = time();
        // A day that does not exist was taken for a later or earlier one.
        const bool exists = get(UCAL_YEAR) == year && get(UCAL_MONTH) == month - 1 && get(UCAL_DATE) == day;
        return exists ? std::optional(moment) : std::nullopt;
    }

private:
    struct Day {
        int extendedYear;
        int month;
        int day;
    };

    /// Months and days beyond the end of a year or month run on into the next.
    double startOf(Day day) {
        calendar_->clear();
        calendar_->set(UCAL_EXTENDED_YEAR, day.extendedYear);
        calendar_->set(UCAL_MONTH, day.month);
        calendar_->set(UCAL_DATE, day.day);
        return time() / 1000;
    }

    Period between(Day first, Day next) { return {startOf(first), startOf(next)}; }

    int get(UCalendarDateFields field) {
        const int value = calendar_->get(field, status_);
        require();
        return value;
    }

    Moment time() {
        const Moment moment = calendar_->getTime(status_);
        require();
        return moment;
    }

    /// Nothing that is asked here fails unless the library's data are missing.
    void require() const {
        if (U_FAILURE(status_)) throw std::runtime_error(std::string("calendar: ") + u_errorName(status_));
    }

    UErrorCode status_ = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar_;
};

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

std::optional<Period> explicitPeriod(std::string_view text, UserCalendar& calendar) {
    constexpr Unit units[] = {Unit::year, Unit::month, Unit::day};
    std::array<int, 3> numbers = {1, 1, 1};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::optional<int> number = takeNumber(text);
        if (!number) return std::nullopt;
        numbers[i] = *number;
        if (text.empty()) {
            const auto moment = calendar.noon(numbers[0], numbers[1], numbers[2]);
            return moment ? std::optional(calendar.interval(*moment, units[i])) : std::nullopt;
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
    UserCalendar calendar;
    for (const Keyword& keyword : keywords) {
        if (lower != keyword.word) continue;
        const Moment moment = calendar.before(now * 1000, keyword.unit, keyword.ago);
        return filterOf(Comparison::eq, calendar.interval(moment, keyword.unit));
    }
    std::string_view text = lower;
    const Comparison comparison = takeComparison(text);
    const std::optional<Period> period = explicitPeriod(text, calendar);
    return period ? std::optional(filterOf(comparison, *period)) : std::nullopt;
}

std::optional<DateFilter> parseDate(std::string_view value) {
    const std::chrono::duration<double> sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return parseDate(value, sinceEpoch.count());
}

}  // namespace dovra
