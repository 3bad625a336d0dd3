#include <gtest/gtest.h>

#include "Base/ByteCount.hpp"

namespace dovra {
namespace {

TEST(ByteCount, RoundsToTheStepOfItsUnit) {
    struct Case {
        std::uint64_t bytes;
        const char* text;
    };
    constexpr Case cases[] = {
        {0, "Zero KB"},
        {1, "1 byte"},
        {2, "2 bytes"},
        {999, "999 bytes"},
        {1000, "1 KB"},
        {1499, "1 KB"},
        {1500, "2 KB"},
        {999'499, "999 KB"},
        {999'500, "1 MB"},
        {999'999, "1 MB"},
        {1'000'000, "1 MB"},
        {1'049'999, "1 MB"},
        {1'050'000, "1.1 MB"},
        {12'345'678, "12.3 MB"},
        {999'949'999, "999.9 MB"},
        {999'950'000, "1 GB"},
        {1'004'999'999, "1 GB"},
        {1'005'000'000, "1.01 GB"},
        {1'100'000'000, "1.1 GB"},
        {1'234'000'000, "1.23 GB"},
        {999'994'999'999, "999.99 GB"},
        {999'995'000'000, "1 TB"},
        {2'050'000'000'000'000, "2.05 PB"},
        {18'446'744'073'709'551'615U, "18.45 EB"},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(byteCountText(bytes), text) << bytes;
}

}  // namespace
}  // namespace dovra
