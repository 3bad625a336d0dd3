#include "Base/Format.hpp"

#include <array>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fmt/format.h>
#include <stdexcept>
#include <string_view>

namespace dovra {

namespace {

/// A unit, and the smallest step in which it is written.
struct Unit {
    std::string_view name;
    std::uint64_t stepBytes;
    std::uint64_t stepsPerUnit;
};

constexpr std::array units = {
    Unit{"KB", 1'000, 1},
    Unit{"MB", 100'000, 10},
    Unit{"GB", 10'000'000, 100},
    Unit{"TB", 10'000'000'000, 100},
    Unit{"PB", 10'000'000'000'000, 100},
    Unit{"EB", 10'000'000'000'000'000, 100},
};

std::uint64_t roundedSteps(std::uint64_t bytes, const Unit& unit) {
    return bytes / unit.stepBytes + (bytes % unit.stepBytes >= unit.stepBytes / 2 ? 1 : 0);
}

/// The number without zeros at the end of its decimals.
std::string decimalText(std::uint64_t steps, std::uint64_t stepsPerUnit) {
    while (stepsPerUnit > 1 && steps % 10 == 0) {
        steps /= 10;
        stepsPerUnit /= 10;
    }
    if (stepsPerUnit == 1) return fmt::format("{}", steps);
    const int decimals = stepsPerUnit == 10 ? 1 : 2;
    return fmt::format("{}.{:0{}}", steps / stepsPerUnit, steps % stepsPerUnit, decimals);
}

}  // namespace

std::string byteCountText(std::uint64_t bytes) {
    if (bytes == 0) return "Zero KB";
    if (bytes == 1) return "1 byte";
    if (bytes < 1000) return fmt::format("{} bytes", bytes);
    std::size_t u = 0;
    // The rounded number decides: 1000 KB is written as 1 MB.
    while (u + 1 < units.size() && roundedSteps(bytes, units[u]) >= 1000 * units[u].stepsPerUnit)
        ++u;
    return fmt::format("{} {}", decimalText(roundedSteps(bytes, units[u]), units[u].stepsPerUnit),
                       units[u].name);
}

namespace {

class Commas : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

std::locale withGroups(const std::locale& locale) {
    const bool hasGroups = !std::use_facet<std::numpunct<char>>(locale).grouping().empty();
    return hasGroups ? locale : std::locale(locale, new Commas);
}

}  // namespace

std::locale userLocale() {
    try {
        return withGroups(std::locale(""));
    } catch (const std::runtime_error&) {
        return withGroups(std::locale::classic());
    }
}

std::string groupedNumber(std::int64_t number, const std::locale& locale) {
    return fmt::format(withGroups(locale), "{:L}", number);
}

std::string grouped(std::int64_t number) {
    // Looking up the locale takes longer than a search.
    static const std::locale locale = userLocale();
    return groupedNumber(number, locale);
}

std::string counted(std::int64_t number, std::string_view noun) {
    return fmt::format("{} {}{}", grouped(number), noun, number == 1 ? "" : "s");
}

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
