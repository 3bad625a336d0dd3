#include <algorithm>
#include <array>
#include <cstdlib>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "Query/Filters.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using Op = SizeFilter::Op;

TEST(ParseSize, ReadsOperatorNumberAndUnit) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    const std::pair<std::string, SizeFilter> cases[] = {
        {"0", {Op::eq, 0}},
        {"=7b", {Op::eq, 7}},
        {">1mb", {Op::gt, 1048576}},
        {">=1.5GB", {Op::ge, 1610612736}},
        {"<10k", {Op::lt, 10240}},
        {"<=2T", {Op::le, 2199023255552}},
        {"0.5", {Op::eq, 0}},
        {".5k", {Op::eq, 512}},
        {"5.", {Op::eq, 5}},
        {"1\u212A", {Op::eq, 1024}},
        {"18446744073709551615", {Op::eq, largest}},
        {std::string(500, '9') + "t", {Op::eq, largest}},
        {"0." + std::string(500, '0') + "1t", {Op::eq, 0}},
    };
    for (const auto& [value, filter] : cases)
        EXPECT_EQ(parseSize(value), filter) << value;
    for (const char* value : {"",   ">",   "huge", "mb",   ".",   "1.2.3",  "1e3",  "10 kb", " 1",  "-1",
                              "+1", "><1", "=>1",  "1kib", "1,5", "\u0661", "0x10", "inf",   "nan", "1\xFF"})
        EXPECT_EQ(parseSize(value), std::nullopt) << value;
}

constexpr double open = std::numeric_limits<double>::max();
constexpr double hour = 3600;
constexpr double day = 24 * hour;

/// Sets a time zone and a locale for a test. The calendar of the default locale is not the Gregorian one.
class DateFilterTest : public testing::Test {
public:
    DateFilterTest() {
        useZone("UTC");
        ::setenv("LC_ALL", "th_TH.UTF-8", 1);
    }
    ~DateFilterTest() override {
        ::unsetenv("TZ");
        ::unsetenv("LC_ALL");
        ::unsetenv("LOCPATH");
    }

    static void useZone(const char* zone) { ::setenv("TZ", zone, 1); }

    /// 2024-03-13, a Wednesday, at 14:30:00 UTC.
    static constexpr double now = 1710340200;

    static DateFilter parsed(const char* value, double at = now) {
        return parseDate(value, at).value_or(DateFilter{.start = -1, .end = -1});
    }
};

TEST_F(DateFilterTest, ReadsKeywords) {
    constexpr double midnight = 1710288000;
    const std::pair<const char*, DateFilter> cases[] = {
        {"ToDay", {midnight, midnight + day}},
        {"yesterday", {midnight - day, midnight}},
        {"thisweek", {midnight - 3 * day, midnight + 4 * day}},
        {"lastweek", {midnight - 10 * day, midnight - 3 * day}},
        {"thismonth", {1709251200, 1711929600}},
        {"lastmonth", {1706745600, 1709251200}},
        {"thisyear", {1704067200, 1735689600}},
        {"lastyear", {1672531200, 1704067200}},
    };
    for (const auto& [value, filter] : cases)
        EXPECT_EQ(parsed(value), filter) << value;
}

TEST_F(DateFilterTest, ReadsDatesAndOperators) {
    const std::pair<const char*, DateFilter> cases[] = {
        {"2024", {1704067200, 1735689600}},
        {"=2024-02", {1706745600, 1709251200}},
        {"2024-02-29", {1709164800, 1709251200}},
        {"2024-3-1", {1709251200, 1709337600}},
        {">=2024-02", {1706745600, open}},
        {">2024-02", {1709251200, open}},
        {"<2024-02", {0, 1706745600}},
        {"<=2024-02", {0, 1709251200}},
        {"1969-12-31", {-day, 0}},
    };
    for (const auto& [value, filter] : cases)
        EXPECT_EQ(parsed(value), filter) << value;
    EXPECT_TRUE(parseDate("9999-12-31"));
    EXPECT_TRUE(parsed("2024").matches(1704067200) && !parsed("2024").matches(1735689600));
}

TEST_F(DateFilterTest, RefusesEverythingElse) {
    for (const char* value :
         {"",        ">",       "tomorrow", ">today",  "0",          "0000",       "20240",      "2024-",
          "-2024",   "2024--1", "2024-0",   "2024-13", "2024-01-0",  "2024-01-32", "2023-02-29", "2024-04-31",
          "2024/01", "+2024",   "2024-1 ",  " 2024",   "2024-01-1e", "2024-01\xFF"})
        EXPECT_EQ(parseDate(value, now), std::nullopt) << value;
}

TEST_F(DateFilterTest, StartsWeeksOnTheFirstWeekdayOfTheLocale) {
    const test::TemporaryTree tree;
    ::setenv("LOCPATH", tree.path().c_str(), 1);
    constexpr double saturday = 1709942400;
    const std::pair<const char*, double> firstDays[] = {{"fa_IR", saturday}, {"de_DE", saturday + 2 * day}};
    for (const auto& [locale, first] : firstDays) {
        const std::string command = fmt::format("localedef -i {} -f UTF-8 '{}'", locale, tree.path(locale));
        ASSERT_EQ(std::system(command.c_str()), 0) << "the system's sources of locales are missing";
        ::setenv("LC_ALL", locale, 1);
        // The C library never gives back what it keeps of LOCPATH.
        const int isRight = test::inAChild([&] {
            return std::ranges::all_of(std::array{first, now, first + 7 * day - 1}, [&](double at) {
                return parsed("thisweek", at) == DateFilter{first, first + 7 * day};
            });
        });
        EXPECT_EQ(isRight, 1) << locale;
    }
}

TEST_F(DateFilterTest, CountsLocalDaysByTheTimeZone) {
    struct Case {
        const char* zone;
        const char* value;
        DateFilter filter;
    };
    constexpr double repeated = 1730606400;  // 2024-11-03 in Havana: 00:59:59 was followed by 00:00:00
    constexpr double skipped = 1541300400;   // 2018-11-04 in Sao Paulo: 23:59:59 was followed by 01:00:00
    constexpr double twice = 1130639400;     // 2005-10-30 in St. John's: 00:00:59 was followed by 23:01:00
    constexpr Case cases[] = {
        {"Europe/Berlin", "2024-03-31", {1711839600, 1711839600 + 23 * hour}},
        {"CET-1CEST,M3.5.0,M10.5.0/3", "2024-10-27", {1729980000, 1729980000 + 25 * hour}},
        {":America/Mexico_City", "2024-07-01", {1719813600, 1719813600 + day}},
        {"America/Havana", "2024-11-03", {repeated, repeated + 25 * hour}},
        {"America/Sao_Paulo", "2018-11-04", {skipped, skipped + 23 * hour}},
        {"America/St_Johns", "2005-10-30", {twice, twice + 25 * hour}},
        {"Pacific/Apia", "2011-12-30", {1325239200, 1325239200}},  // a day that was left out
        {"<+14>-14", "2024-01-01", {1704067200 - 14 * hour, 1704067200 + 10 * hour}},
    };
    for (const auto& [zone, value, filter] : cases) {
        useZone(zone);
        EXPECT_EQ(parsed(value), filter) << zone;
    }
    useZone("CET-1");
    // At half past eleven in the evening of that zone, UTC is still on the day before.
    EXPECT_EQ(parsed("today", 1710283800 + hour), (DateFilter{1710284400, 1710284400 + day}));
}

TEST_F(DateFilterTest, LeavesNoGapBetweenPeriods) {
    for (const char* zone : {"Europe/London", "America/Sao_Paulo", "Asia/Tehran", "Australia/Lord_Howe"}) {
        useZone(zone);
        double end = parsed("2017-12-31").end;
        for (double at = end; at < 1546300800; at += day) {
            const DateFilter today = parsed("today", end);
            ASSERT_EQ(today.start, end) << zone;
            ASSERT_EQ(parsed("yesterday", today.end).start, today.start) << zone;
            end = today.end;
        }
    }
}

}  // namespace
}  // namespace dovra
