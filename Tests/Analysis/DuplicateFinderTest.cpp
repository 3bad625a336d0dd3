#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <numeric>
#include <random>

#include "Analysis/DuplicateFinder.hpp"
#include "Support/DigestOf.hpp"
#include "Support/RandomText.hpp"

namespace dovra {

bool operator==(const DuplicateFinder::SizeGroup& a, const DuplicateFinder::SizeGroup& b) {
    return a.size == b.size && a.ids == b.ids;
}

namespace {

using Finder = DuplicateFinder;
using Groups = std::vector<Finder::IdGroup>;
using test::digestOf;
using testing::ElementsAre;

constexpr std::uint64_t slice = Finder::sliceBytes;

/// The groups among files that exist in memory only. A file is identified by its position.
Groups refined(const std::vector<std::string>& files) {
    Finder::IdGroup ids(files.size());
    std::iota(ids.begin(), ids.end(), 0);
    return Finder::refine(files.front().size(), ids, [&](std::span<const Finder::DigestRequest> batch) {
        Finder::Digests digests;
        for (const auto& [id, offset, length] : batch) {
            const std::string_view whole = files[static_cast<std::size_t>(id)];
            digests.emplace_back(digestOf(whole.substr(offset, static_cast<std::size_t>(length))));
        }
        return digests;
    });
}

/// The expected groups.
Groups equalOnes(const std::vector<std::string>& files) {
    std::map<std::string_view, Finder::IdGroup> byBytes;
    for (std::size_t i = 0; i < files.size(); ++i)
        byBytes[files[i]].push_back(static_cast<EntryId>(i));
    Groups groups;
    for (auto& [bytes, ids] : byBytes) {
        if (ids.size() > 1) groups.push_back(ids);
    }
    std::ranges::sort(groups);
    return groups;
}

TEST(SizeGroups, AreTheSizesThatAreShared) {
    const std::vector<Finder::Item> items = {{7, 10}, {3, 20}, {5, 10}, {9, 0}, {2, 30}, {1, 0}, {8, 20}};
    EXPECT_THAT(Finder::sizeGroups(items),
                ElementsAre(Finder::SizeGroup{20, {3, 8}}, Finder::SizeGroup{10, {5, 7}}));
}

TEST(Refine, GroupsAsComparingEveryByteWould) {
    std::mt19937 random(4);
    for (const std::size_t size : std::initializer_list<std::size_t>{1, 4095, 4096, 4097, 8191, 8192, 8193,
                                                                     8192 + slice, 8193 + slice}) {
        for (int round = 0; round < 8; ++round) {
            std::vector<std::string> files = {test::randomText(random, "ab", size, size)};
            while (files.size() < 2 + random() % 6) {
                std::string file = files[random() % files.size()];
                // A byte would be missed at the edges of the stages.
                const std::size_t edges[] = {0,           4095,         4096,         size - 1,
                                             size - 4096, 4095 + slice, 4096 + slice, random() % size};
                const std::size_t position = edges[random() % std::size(edges)];
                if (random() % 2 == 0 && position < size) ++file[position];
                files.push_back(file);
            }
            EXPECT_EQ(refined(files), equalOnes(files)) << size;
        }
    }
}

std::uint64_t reclaimable(std::initializer_list<std::pair<std::size_t, std::uint64_t>> rowsAndSizes) {
    std::vector<DuplicateGroup> groups;
    for (const auto& [rows, size] : rowsAndSizes)
        groups.push_back({size, std::vector<FileRow>(rows)});
    return Finder::reclaimableBytes(groups);
}

TEST(ReclaimableBytesDeathTest, AreThoseOfAllButOneAndMustNotOverflow) {
    EXPECT_EQ(reclaimable({}), 0);
    EXPECT_EQ(reclaimable({{3, 10}, {2, 5}, {1, 100}, {0, 100}}), 25);
    constexpr std::uint64_t half = std::uint64_t{1} << 63;
    EXPECT_DEATH(reclaimable({{2, half}, {2, half}}), "reclaimable");
    EXPECT_DEATH(reclaimable({{3, half}}), "reclaimable");
}

}  // namespace
}  // namespace dovra
