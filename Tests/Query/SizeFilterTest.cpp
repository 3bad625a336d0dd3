#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "Query/SizeFilter.hpp"

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

TEST(SizeFilter, AnswersRightAboutSizesThatNoFileHas) {
    constexpr std::uint64_t longestFile = std::numeric_limits<std::int64_t>::max();
    EXPECT_FALSE(parseSize("=99999999999999t")->matches(longestFile));
    EXPECT_FALSE(parseSize(">=99999999999999t")->matches(longestFile));
    EXPECT_TRUE(parseSize("<99999999999999t")->matches(longestFile));
}

}  // namespace
}  // namespace dovra
