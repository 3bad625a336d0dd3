#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include "Support/DigestOf.hpp"

namespace dovra {
namespace {

TEST(Sha256, HasTheStandardsValues) {
    EXPECT_EQ(fmt::format("{:02x}", fmt::join(test::digestOf("abc"), "")),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    Sha256 hash;
    hash.update(std::string_view("ab"));
    hash.update(std::string_view("c"));
    EXPECT_EQ(hash.finish(), test::digestOf("abc"));
}

}  // namespace
}  // namespace dovra
