#include <algorithm>
#include <gtest/gtest.h>
#include <random>

#include "Analysis/RangeDigests.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

constexpr std::size_t borders[] = {0, 1, 4096, 65'536, 131'072, 196'608, 262'144, 300'000};

/// Contents that differ, or end, where two pieces meet.
std::string similarContent(std::mt19937& random) {
    const auto border = [&] { return borders[random() % std::size(borders)]; };
    std::string content(300'000, 'x');
    for (auto left = random() % 3; left > 0; --left)
        content[(border() + content.size() - random() % 2) % content.size()] = 'y';
    if (random() % 4 == 0) content.resize(border());
    return content;
}

TEST(RangeDigests, AreEqualWhereTheBytesThatExistAre) {
    std::mt19937 random(7);
    const test::TemporaryTree tree;
    for (int round = 0; round < 60; ++round) {
        std::vector<std::string> contents(2 + random() % (round % 10 == 0 ? 80 : 6));
        std::vector<std::shared_ptr<const RegularFile>> files;
        for (std::string& content : contents) {
            content = similarContent(random);
            auto file = RegularFile::open(tree.write(std::to_string(files.size()), content));
            files.push_back(random() % 8 == 0 ? nullptr
                                              : std::make_shared<const RegularFile>(std::move(file.value())));
        }
        const std::size_t offset = borders[random() % std::size(borders)];
        const std::size_t length = borders[2 + random() % (std::size(borders) - 2)] - random() % 2;
        const auto digests = rangeDigests(
            files.size(), [&](std::size_t i) { return files[i]; }, offset, length);
        const auto range = [&](std::size_t i) {
            const std::string_view content = contents[i];
            return content.substr(std::min(offset, content.size()), length);
        };
        for (std::size_t i = 0; i < files.size(); ++i) {
            ASSERT_EQ(digests[i].has_value(), files[i] != nullptr);
            for (std::size_t j = 0; j < i; ++j) {
                if (!files[i] || !files[j]) continue;
                ASSERT_EQ(digests[i] == digests[j], range(i) == range(j)) << offset << ' ' << length;
            }
        }
        const auto beyond = rangeDigests(
            1, [&](std::size_t) { return files.back(); }, ~std::uint64_t{0}, 1);
        ASSERT_EQ(beyond.front(), std::nullopt) << "reading fails";
    }
}

TEST(RangeDigests, TellOthersApartWhileTheFirstFileChanges) {
    const test::TemporaryTree tree;
    std::vector<std::shared_ptr<const RegularFile>> files;
    for (std::size_t i = 0; i < 200; ++i) {
        auto file = RegularFile::open(tree.write(std::to_string(i), i < 100 ? "before" : "after!"));
        files.push_back(std::make_shared<const RegularFile>(std::move(file.value())));
    }
    const auto digests = rangeDigests(
        files.size(),
        [&](std::size_t i) {
            if (i == 1) tree.write("0", "after!");
            return files[i];
        },
        0, 6);
    EXPECT_EQ(std::ranges::count(digests, digests[1]), 100);
    EXPECT_EQ(std::ranges::count(digests, digests[199]), 100);
}

}  // namespace
}  // namespace dovra
