#include <cstdio>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <random>

#include "Analysis/RangeDigest.hpp"
#include "Support/DigestOf.hpp"
#include "Support/RandomText.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using test::digestOf;

std::string randomBytes(std::size_t size) {
    static std::mt19937 random(1);
    return test::randomText(random, "abcdefghijklmnop", size, size);
}

TEST(Sha256, HasTheStandardsValues) {
    const auto hexOf = [](std::string_view bytes) {
        return fmt::format("{:02x}", fmt::join(digestOf(bytes), ""));
    };
    EXPECT_EQ(hexOf(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hexOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    Sha256 hash;
    hash.update(std::string_view("ab"));
    hash.update(std::string_view("c"));
    EXPECT_EQ(hash.finish(), digestOf("abc"));
}

TEST(RangeDigest, IsOfTheBytesThatExist) {
    const test::TemporaryTree tree;
    const std::string bytes = randomBytes(300'000);
    const auto file = RegularFile::open(tree.write("file", bytes));
    ASSERT_TRUE(file);
    EXPECT_EQ(rangeDigest(*file, 0, 300'000), digestOf(bytes));
    EXPECT_EQ(rangeDigest(*file, 5, 200'000), digestOf(bytes.substr(5, 200'000)));
    EXPECT_EQ(rangeDigest(*file, 299'990, 4096), digestOf(bytes.substr(299'990)));
    EXPECT_EQ(rangeDigest(*file, 300'001, 4096), digestOf(""));
    EXPECT_EQ(rangeDigest(*file, 0, 0), digestOf(""));
    EXPECT_EQ(rangeDigest(*file, 0, -1), digestOf(""));
    EXPECT_EQ(rangeDigest(*file, ~std::uint64_t{0}, 1), std::nullopt);
}

}  // namespace
}  // namespace dovra
