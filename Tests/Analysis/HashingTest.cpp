#include <cstdio>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <random>

#include "Analysis/Hashing.hpp"
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
    EXPECT_EQ(fmt::format("{:02x}", fmt::join(digestOf("abc"), "")),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
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
    using Range = std::pair<std::uint64_t, std::int64_t>;
    for (const auto& [offset, length] : {Range{0, 300'000}, Range{5, 200'000}, Range{299'990, 4096},
                                         Range{300'001, 4096}, Range{0, 0}, Range{0, -1}}) {
        const std::size_t start = std::min<std::size_t>(offset, bytes.size());
        const auto part = bytes.substr(start, static_cast<std::size_t>(std::max<std::int64_t>(length, 0)));
        EXPECT_EQ(rangeDigest(*file, offset, length), digestOf(part)) << offset;
    }
    EXPECT_EQ(rangeDigest(*file, ~std::uint64_t{0}, 1), std::nullopt);
}

}  // namespace
}  // namespace dovra
