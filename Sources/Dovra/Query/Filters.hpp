#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace dovra {

/// Files, folders or both. A link counts as a file, whatever its target.
enum class TypeFilter : std::uint8_t { any, fileOnly, folderOnly };

constexpr bool matches(TypeFilter filter, bool isFolder) {
    return filter == TypeFilter::any || (filter == TypeFilter::folderOnly) == isFolder;
}

/// A comparison with a value in the query language.
enum class Comparison : std::uint8_t { gt, lt, ge, le, eq };

/// Removes a comparison sign from the start of `text` and returns its meaning. No sign means equality.
inline Comparison takeComparison(std::string_view& text) {
    struct Sign {
        std::string_view text;
        Comparison comparison;
    };
    // The order counts: ">=" is tried before ">".
    constexpr Sign signs[] = {{">=", Comparison::ge},
                              {"<=", Comparison::le},
                              {">", Comparison::gt},
                              {"<", Comparison::lt},
                              {"=", Comparison::eq}};
    for (const Sign& sign : signs) {
        if (!text.starts_with(sign.text)) continue;
        text.remove_prefix(sign.text.size());
        return sign.comparison;
    }
    return Comparison::eq;
}

/// A comparison with a file's length in bytes. The caller decides whether folders have a size.
struct SizeFilter {
    using Op = Comparison;

    Op op;
    std::uint64_t bytes;

    struct Range {
        std::uint64_t first;
        std::uint64_t last;
    };
    /// The first and the last size that match. If none does, the last comes before the first.
    Range range() const {
        constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
        switch (op) {
            case Op::gt:
                return bytes == largest ? Range{1, 0} : Range{bytes + 1, largest};
            case Op::lt:
                return bytes == 0 ? Range{1, 0} : Range{0, bytes - 1};
            case Op::ge:
                return {bytes, largest};
            case Op::le:
                return {0, bytes};
            case Op::eq:
                break;
        }
        return {bytes, bytes};
    }

    bool matches(std::uint64_t size) const {
        const Range accepted = range();
        return size >= accepted.first && size <= accepted.last;
    }

    friend bool operator==(const SizeFilter&, const SizeFilter&) = default;
};

/// Reads ">=1.5gb", "<10k", "0": an operator (none means equal), a decimal number, and a unit in powers of
/// 1024 in any case. A fraction of a byte is cut off. Absent for a value of another form.
///
/// A number beyond 64 bits becomes the largest one. The answers stay right: a file is shorter than 2^63
/// bytes, so every size is below both numbers.
std::optional<SizeFilter> parseSize(std::string_view value);

/// The time of an entry that a date filter tests.
enum class DateField : std::uint8_t { modified, created };

/// The times from `start` up to but not including `end`, in seconds since 1970. An open start is 0, and an
/// open end is the largest finite double.
struct DateFilter {
    double start;
    double end;

    bool matches(double time) const { return time >= start && time < end; }

    friend bool operator==(const DateFilter&, const DateFilter&) = default;
};

/// Reads a keyword ("today", "lastweek", …) or an operator and a date ("2024", ">=2024-03", "<2024-03-15"),
/// in any case, by the Gregorian calendar and the user's time zone. A period begins at its first local
/// moment, and a week on the locale's first weekday. ">=" and "<" count from the period's start, ">" and "<="
/// from its end. Absent for any other value, and for a day that does not exist.
std::optional<DateFilter> parseDate(std::string_view value);

/// The same at the time `now`, in seconds since 1970.
std::optional<DateFilter> parseDate(std::string_view value, double now);

}  // namespace dovra
