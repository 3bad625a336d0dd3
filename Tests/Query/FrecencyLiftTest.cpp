#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Query/FrecencyLift.hpp"
#include "Support/FixedBoost.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

using Boosts = std::map<std::string, std::int32_t>;

std::string randomPath(std::mt19937& random) {
    std::string path;
    for (std::size_t i = random() % 3 + 1; i > 0; --i)
        path.append("/").append(test::randomText(random, "ab", 1, 3));
    return path;
}

TEST(FrecencyLift, KnowsEachEntryByItsPath) {
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        std::vector<test::IndexItem> items;
        // Paths that are none must not disturb.
        Boosts boosts = {{"", 1}, {"/", 2}, {"a", 3}, {"/a/", 5}};
        for (int i = 0; i < 30; ++i) {
            items.emplace_back(randomPath(random) + (random() % 3 == 0 ? "/" : ""));
            if (i % 3 == 0) boosts[randomPath(random)] = static_cast<std::int32_t>(random() % 72 + 1);
        }
        const auto index = test::makeIndex(items);
        index->setFrecency(std::make_shared<test::FixedBoost>(boosts));
        const std::vector<std::string> paths = test::allPaths(*index);
        const ReadGuard guard(index->rwlock);
        const FrecencyLift lift(*index);
        for (std::size_t id = 0; id < paths.size(); ++id) {
            const FileEntry& entry = index->entriesLocked()[id];
            const auto expected = boosts.find(paths[id]);
            EXPECT_EQ(lift.boost(entry, index->nameLocked(entry)),
                      expected == boosts.end() ? 0 : expected->second)
                << paths[id];
        }
    }
}

}  // namespace
}  // namespace dovra
