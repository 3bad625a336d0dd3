#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "Query/SizeFilter.hpp"

namespace dovra {
namespace {

using Op = SizeFilter::Op;

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
/// The longest file that the system can describe.
constexpr std::uint64_t longestFile = std::numeric_limits<std::int64_t>::max();

TEST(ParseSize, ReadsOperatorNumberAndUnit) {
    const std::pair<const char*, SizeFilter> cases[] = {
        {"0", {Op::eq, 0}},
        {"=7b", {Op::eq, 7}},
        {">1mb", {Op::gt, 1048576}},
        {">=1.5GB", {Op::ge, 1610612736}},
        {"<10k", {Op::lt, 10240}},
        {"<=2T", {Op::le, 2199023255552}},
        {"1.5kb", {Op::eq, 1536}},
        {"0.5", {Op::eq, 0}},
        {".5k", {Op::eq, 512}},
        {"5.", {Op::eq, 5}},
        {"1\u212A", {Op::eq, 1024}},
        {"18446744073709551615", {Op::eq, largest}},
        {"99999999t", {Op::eq, largest}},
    };
    for (const auto& [value, filter] : cases)
        EXPECT_EQ(parseSize(value), filter) << value;
    EXPECT_EQ(parseSize(std::string(500, '9')), (SizeFilter{Op::eq, largest}));
    EXPECT_EQ(parseSize("0." + std::string(500, '0') + "1t"), (SizeFilter{Op::eq, 0}));
}

TEST(ParseSize, RefusesEverythingElse) {
    for (const char* value : {"",   ">",   "huge", "mb",   ".",   "1.2.3",  "1e3",  "10 kb", " 1",  "-1",
                              "+1", "><1", "=>1",  "1kib", "1,5", "\u0661", "0x10", "inf",   "nan", "1\xFF"})
        EXPECT_EQ(parseSize(value), std::nullopt) << value;
}

TEST(SizeFilter, AnswersRightAboutSizesThatNoFileHas) {
    EXPECT_FALSE(parseSize("=99999999999999t")->matches(longestFile));
    EXPECT_FALSE(parseSize(">=99999999999999t")->matches(longestFile));
    EXPECT_TRUE(parseSize("<99999999999999t")->matches(longestFile));
}

TEST(SizeFilter, Compares) {
    const std::pair<const char*, std::array<bool, 3>> cases[] = {
        {"9", {false, true, false}},  {">9", {false, false, true}}, {"<9", {true, false, false}},
        {">=9", {false, true, true}}, {"<=9", {true, true, false}},
    };
    for (const auto& [value, expected] : cases) {
        for (std::uint64_t i = 0; i < 3; ++i)
            EXPECT_EQ(parseSize(value)->matches(8 + i), expected[i]) << value << " of " << 8 + i;
    }
}

}  // namespace
}  // namespace dovra
