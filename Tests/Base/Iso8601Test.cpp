#include <gtest/gtest.h>
#include <limits>

#include "Base/Iso8601.hpp"

namespace dovra {
namespace {

TEST(Iso8601, WritesTimesInUtc) {
    EXPECT_EQ(iso8601Text(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(iso8601Text(1704450030), "2024-01-05T10:20:30Z");
    EXPECT_EQ(iso8601Text(1709251199.9), "2024-02-29T23:59:59Z");
    EXPECT_EQ(iso8601Text(-0.5), "1969-12-31T23:59:59Z");
    EXPECT_EQ(iso8601Text(253402300799.0), "9999-12-31T23:59:59Z");
}

TEST(Iso8601, HasNoFormForYearsBeyondFourDigits) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double seconds :
         {253402300800.0, 9e18, 1e300, -1e12, infinity, -infinity, infinity - infinity})
        EXPECT_EQ(iso8601Text(seconds), std::nullopt) << seconds;
}

}  // namespace
}  // namespace dovra
