#include <gtest/gtest.h>
#include <limits>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include "Query/DateFilter.hpp"

namespace dovra {
namespace {

constexpr double open = std::numeric_limits<double>::max();
constexpr double hour = 3600;
constexpr double day = 24 * hour;

/// Runs a test in a time zone and a locale and puts the former ones back.
class DateFilterTest : public testing::Test {
public:
    DateFilterTest() : zone_(icu::TimeZone::createDefault()), locale_(icu::Locale::getDefault()) {
        use("UTC", "en_GB");
    }
    ~DateFilterTest() override {
        icu::TimeZone::adoptDefault(zone_);
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(locale_, status);
    }

    static void use(const char* zone, const char* locale) {
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(zone));
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale(locale), status);
    }

    /// 2024-03-13, a Wednesday, at 14:30:00 UTC.
    static constexpr double now = 1710340200;

    static DateFilter parsed(const char* value, double at = now) {
        return parseDate(value, at).value_or(DateFilter{.start = -1, .end = -1});
    }

private:
    icu::TimeZone* zone_;
    icu::Locale locale_;
};

TEST_F(DateFilterTest, ReadsKeywords) {
    constexpr double midnight = 1710288000;
    const std::pair<const char*, DateFilter> cases[] = {
        {"ToDay", {midnight, midnight + day}},
        {"yesterday", {midnight - day, midnight}},
        {"thisweek", {midnight - 2 * day, midnight + 5 * day}},
        {"lastweek", {midnight - 9 * day, midnight - 2 * day}},
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
}

TEST_F(DateFilterTest, RefusesEverythingElse) {
    for (const char* value :
         {"",        ">",       "tomorrow", ">today",  "0",          "0000",       "20240",      "2024-",
          "-2024",   "2024--1", "2024-0",   "2024-13", "2024-01-0",  "2024-01-32", "2023-02-29", "2024-04-31",
          "2024/01", "+2024",   "2024-1 ",  " 2024",   "2024-01-1e", "2024-01\xFF"})
        EXPECT_EQ(parseDate(value, now), std::nullopt) << value;
}

TEST_F(DateFilterTest, StartsWeeksOnTheFirstWeekdayOfTheLocale) {
    constexpr double midnight = 1710288000;
    use("UTC", "en_US");
    EXPECT_EQ(parsed("thisweek"), (DateFilter{midnight - 3 * day, midnight + 4 * day}));
    // On the first day of a week.
    EXPECT_EQ(parsed("thisweek", midnight - 3 * day), (DateFilter{midnight - 3 * day, midnight + 4 * day}));
}

TEST_F(DateFilterTest, CountsLocalDaysAcrossClockChanges) {
    use("Europe/Berlin", "de_DE");
    EXPECT_EQ(parsed("2024-03-31"), (DateFilter{1711839600, 1711839600 + 23 * hour}));
    EXPECT_EQ(parsed("2024-10-27"), (DateFilter{1729980000, 1729980000 + 25 * hour}));
    // Half past eleven in the evening there is still the day before in UTC.
    EXPECT_EQ(parsed("today", 1710283800 + hour), (DateFilter{1710284400, 1710284400 + day}));
}

TEST_F(DateFilterTest, StartsDaysWithoutMidnightAtTheirFirstMoment) {
    use("America/Sao_Paulo", "pt_BR");
    constexpr double skipped = 1541300400;  // 2018-11-04: 23:59:59 was followed by 01:00:00
    EXPECT_EQ(parsed("2018-11-03").end, skipped);
    EXPECT_EQ(parsed("2018-11-04"), (DateFilter{skipped, skipped + 23 * hour}));
    EXPECT_EQ(parsed("today", skipped + hour), (DateFilter{skipped, skipped + 23 * hour}));
    use("America/Havana", "es_CU");
    constexpr double repeated = 1730606400;  // 2024-11-03: 00:59:59 was followed by 00:00:00
    EXPECT_EQ(parsed("2024-11-03"), (DateFilter{repeated, repeated + 25 * hour}));
}

TEST_F(DateFilterTest, LeavesNoGapBetweenPeriods) {
    for (const char* zone : {"Europe/London", "America/Sao_Paulo", "Asia/Tehran", "Australia/Lord_Howe"}) {
        use(zone, "en_US");
        double end = parsed("2017-12-31").end;
        for (double at = end; at < 1546300800; at += day) {
            const DateFilter today = parsed("today", end);
            ASSERT_EQ(today.start, end) << zone;
            ASSERT_EQ(parsed("yesterday", today.end).start, today.start) << zone;
            end = today.end;
        }
    }
}

TEST(DateFilter, IsHalfOpen) {
    const DateFilter filter{.start = 10, .end = 20};
    EXPECT_FALSE(filter.matches(9));
    EXPECT_TRUE(filter.matches(10));
    EXPECT_FALSE(filter.matches(20));
}

}  // namespace
}  // namespace dovra
