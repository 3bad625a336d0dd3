#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "Base/GroupedNumber.hpp"

namespace dovra {
namespace {

TEST(GroupedNumber, UsesCommasWhereTheLocaleDoesNotGroup) {
    const std::locale& plain = std::locale::classic();
    EXPECT_EQ(groupedNumber(0, plain), "0");
    EXPECT_EQ(groupedNumber(999, plain), "999");
    EXPECT_EQ(groupedNumber(1000, plain), "1,000");
    EXPECT_EQ(groupedNumber(-1234567, plain), "-1,234,567");
    EXPECT_EQ(groupedNumber(std::numeric_limits<std::int64_t>::max(), plain), "9,223,372,036,854,775,807");
}

class TwosAndDots : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3\2"; }
};

TEST(GroupedNumber, GroupsAsTheLocaleDoes) {
    EXPECT_EQ(groupedNumber(1234567, std::locale(std::locale::classic(), new TwosAndDots)), "12.34.567");
}

}  // namespace
}  // namespace dovra
