#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace dovra {

/// Which of an entry's times a date filter tests.
enum class DateField : std::uint8_t { modified, created };

/// The times from `start` up to but not including `end`, in seconds since 1970. An open side is 0 for the
/// start and the largest finite double for the end.
struct DateFilter {
    double start;
    double end;

    bool matches(double time) const { return time >= start && time < end; }

    friend bool operator==(const DateFilter&, const DateFilter&) = default;
};

/// Reads a keyword ("today", "lastweek", …) or an operator and a date ("2024", ">=2024-03", "<2024-03-15"),
/// in any case, by the Gregorian calendar and the user's time zone: a period begins at its first local
/// moment, a week on the locale's first weekday. ">=" and "<" count from the period's start, ">" and "<="
/// from its end. Absent when the value is neither or names a day that does not exist.
std::optional<DateFilter> parseDate(std::string_view value);

/// The same as if it were `now`, in seconds since 1970.
std::optional<DateFilter> parseDate(std::string_view value, double now);

}  // namespace dovra
