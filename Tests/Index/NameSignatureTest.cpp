#include <gtest/gtest.h>

#include "Index/NameSignature.hpp"

namespace dovra {
namespace {

static_assert(nameSignature("") == 0);
static_assert(nameSignature("aBz") == (1U | 1U << 1 | 1U << 25));
static_assert(nameSignature("7\xFF") == (1U << digitBit | 1U << nonAsciiBit));
static_assert(nameSignature(".-_ \n") ==
              (1U << dotBit | 1U << dashOrUnderscoreBit | 1U << spaceBit | 1U << otherAsciiBit));

TEST(NameSignature, IgnoresCaseAndNothingElseOfLetters) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        EXPECT_EQ(nameSignature({&c, 1}), nameSignature(asciiFolded({&c, 1})));
        EXPECT_EQ(nameSignature({&c, 1}) < 1U << digitBit, isAsciiLetter(static_cast<std::uint8_t>(byte)));
    }
}

}  // namespace
}  // namespace dovra
