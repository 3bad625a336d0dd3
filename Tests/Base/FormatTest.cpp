#include <cstdint>
#include <gtest/gtest.h>
#include <initializer_list>
#include <limits>
#include <string>

#include "Base/Format.hpp"
#include "Base/RelativeTime.hpp"

namespace dovra {
namespace {

std::string byteCountTexts(std::initializer_list<std::uint64_t> counts) {
    std::string texts;
    for (const std::uint64_t count : counts)
        texts += byteCountText(count) + ", ";
    return texts;
}

TEST(ByteCount, RoundsToTheStepOfItsUnit) {
    EXPECT_EQ(byteCountTexts({0, 1, 999, 1000}), "Zero KB, 1 byte, 999 bytes, 1 KB, ");
    EXPECT_EQ(byteCountTexts({1499, 1500, 999'499, 999'500}), "1 KB, 2 KB, 999 KB, 1 MB, ");
    EXPECT_EQ(byteCountTexts({1'049'999, 1'050'000, 999'949'999, 999'950'000}),
              "1 MB, 1.1 MB, 999.9 MB, 1 GB, ");
    EXPECT_EQ(byteCountTexts({1'004'999'999, 1'005'000'000, 1'100'000'000, 999'995'000'000}),
              "1 GB, 1.01 GB, 1.1 GB, 1 TB, ");
    EXPECT_EQ(byteCountTexts({2'050'000'000'000'000, ~std::uint64_t{0}}), "2.05 PB, 18.45 EB, ");
}

class TwosAndDots : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3\2"; }
};

TEST(GroupedNumber, GroupsAsTheLocaleDoesOrByCommas) {
    const std::locale& plain = std::locale::classic();
    EXPECT_EQ(groupedNumber(0, plain), "0");
    EXPECT_EQ(groupedNumber(999, plain), "999");
    EXPECT_EQ(groupedNumber(1000, plain), "1,000");
    EXPECT_EQ(groupedNumber(-1234567, plain), "-1,234,567");
    EXPECT_EQ(groupedNumber(1234567, std::locale(plain, new TwosAndDots)), "12.34.567");
}

TEST(Iso8601, WritesTimesInUtcUpToYearsOfFourDigits) {
    EXPECT_EQ(iso8601Text(1709251199.9), "2024-02-29T23:59:59Z");
    EXPECT_EQ(iso8601Text(-0.5), "1969-12-31T23:59:59Z");
    EXPECT_EQ(iso8601Text(253402300799.0), "9999-12-31T23:59:59Z");
    for (const double seconds : {253402300800.0, 1e300, -1e12, std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(iso8601Text(seconds), std::nullopt) << seconds;
}

TEST(RelativeTime, SpeaksAsPeopleDo) {
    constexpr double day = 86400;
    struct Case {
        double age;
        const char* text;
    };
    for (const auto& [age, text] : std::initializer_list<Case>{{-90, "in the future"},
                                                               {-5, "just now"},
                                                               {59, "just now"},
                                                               {60, "1 minute ago"},
                                                               {3599, "59 minutes ago"},
                                                               {3600, "1 hour ago"},
                                                               {1.5 * day, "1 day ago"},
                                                               {13.9 * day, "13 days ago"},
                                                               {14 * day, "2 weeks ago"},
                                                               {100 * day, "3 months ago"},
                                                               {800 * day, "2 years ago"}})
        EXPECT_EQ(relativeTime(2e9 - age, 2e9), text);
    EXPECT_EQ(localTime(1e300), "");
}

}  // namespace
}  // namespace dovra
