#include <cstdio>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <random>

#include "Analysis/RangeDigest.hpp"
#include "Analysis/Sha256Pair.hpp"
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

TEST(Sha256Pair, HasTheValuesOfEach) {
    if (!Sha256Pair::isAvailable()) GTEST_SKIP() << "the processor has no instructions for it";
    for (std::size_t length = 0; length < 400; ++length) {
        const std::string first = randomBytes(length);
        const std::string second = randomBytes(length);
        const std::size_t cut = length / 3 / 64 * 64;
        Sha256Pair hash;
        hash.update(first.data(), second.data(), cut);
        hash.update(first.data() + cut, second.data() + cut, length - cut);
        EXPECT_EQ(hash.finish(), (std::array{digestOf(first), digestOf(second)})) << length;
    }
}

TEST(RangeDigest, IsOfTheBytesThatExist) {
    const test::TemporaryTree tree;
    const std::string large = randomBytes(300'000);
    const std::string small = randomBytes(70'000);
    const auto a = RegularFile::open(tree.write("a", large));
    const auto b = RegularFile::open(tree.write("b", small));
    ASSERT_TRUE(a && b);
    using Range = std::pair<std::uint64_t, std::int64_t>;
    for (const auto& [offset, length] :
         {Range{0, 70'000}, Range{4097, 65'600}, Range{0, 300'000}, Range{69'999, 4096}, Range{80'000, 100},
          Range{0, 0}, Range{0, -1}}) {
        const auto part = [&](const std::string& bytes) {
            const std::size_t start = std::min<std::size_t>(offset, bytes.size());
            return digestOf(bytes.substr(start, static_cast<std::size_t>(std::max<std::int64_t>(length, 0))));
        };
        using Both = std::array<std::optional<Digest>, 2>;
        EXPECT_EQ(rangeDigest(*a, offset, length), part(large)) << offset;
        EXPECT_EQ(rangeDigests({&*a, &*b}, offset, length), (Both{part(large), part(small)})) << offset;
        EXPECT_EQ(rangeDigests({nullptr, &*b}, offset, length), (Both{std::nullopt, part(small)})) << offset;
    }
    EXPECT_EQ(rangeDigests({&*a, &*b}, ~std::uint64_t{0}, 1)[0], std::nullopt);
}

}  // namespace
}  // namespace dovra
