#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Base/JoinPath.hpp"
#include "Query/FrecencyLift.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/FixedBoost.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

using Boosts = std::map<std::string, std::int32_t>;
using Key = SortSpec::Key;

class FrecencyLiftTest : public testing::Test {
protected:
    std::string randomPath() {
        std::string path;
        for (std::size_t i = random_() % 3 + 1; i > 0; --i)
            path.append("/").append(test::randomText(random_, "ab", 1, 3));
        return path;
    }

    std::unique_ptr<FileIndex> randomIndex() {
        std::vector<test::IndexItem> items(30, "/");
        for (test::IndexItem& item : items)
            item.path = randomPath() + (random_() % 3 == 0 ? "/" : "");
        return test::makeIndex(items);
    }

    Boosts randomBoosts() {
        // Paths that are none must not disturb.
        Boosts boosts = {{"", 1}, {"/", 2}, {"a", 3}, {"/a/", 5}};
        for (int i = 0; i < 10; ++i)
            boosts[randomPath()] = static_cast<std::int32_t>(random_() % 72 + 1);
        return boosts;
    }

    std::mt19937 random_{1};
};

std::vector<std::string> searched(const FileIndex& index, std::string_view query, SortSpec sort,
                                  std::int64_t limit = 1000) {
    std::vector<std::string> paths;
    for (const FileRow& row : search(index, query, sort, limit).rows)
        paths.push_back(joinPath(row.path, row.name));
    return paths;
}

TEST_F(FrecencyLiftTest, KnowsEachEntryByItsPath) {
    for (int round = 0; round < 200; ++round) {
        const auto index = randomIndex();
        const Boosts boosts = randomBoosts();
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

TEST_F(FrecencyLiftTest, ScoresAreSumsWithTheBoost) {
    for (int round = 0; round < 50; ++round) {
        const auto index = randomIndex();
        const Boosts boosts = randomBoosts();
        index->setFrecency(std::make_shared<test::FixedBoost>(boosts));
        for (const std::string query : {"fuzzy:ab", "similar:aba"}) {
            const CompiledQuery compiled = QueryParser::parse(query);
            std::vector<std::tuple<std::int32_t, std::size_t, std::string, std::size_t, std::string>>
                expected;
            const std::vector<std::string> paths = test::allPaths(*index);
            for (std::size_t id = 0; id < paths.size(); ++id) {
                const std::string name = paths[id].substr(paths[id].rfind('/') + 1);
                const auto score = compiled.primaryFuzzy ? compiled.primaryFuzzy->score(name)
                                                         : compiled.primarySimilar->score(name);
                const auto boost = boosts.find(paths[id]);
                const std::int32_t lift = boost == boosts.end() ? 0 : boost->second;
                if (score)
                    expected.emplace_back(-*score - lift, name.size(), asciiFolded(name), id, paths[id]);
            }
            std::ranges::sort(expected);
            std::vector<std::string> expectedPaths(expected.size());
            std::ranges::transform(expected, expectedPaths.begin(),
                                   [](const auto& row) { return std::get<4>(row); });
            EXPECT_EQ(searched(*index, query, {Key::relevance, true}), expectedPaths);
            expectedPaths.resize(std::min<std::size_t>(expectedPaths.size(), 3));
            EXPECT_EQ(searched(*index, query, {Key::name, true}, 3), expectedPaths);
        }
    }
}

TEST(RelevanceWithFrecency, PassesWaysOfMeetingTheTerm) {
    // The whole name, the stem, the start, the start of a word, and twice anywhere.
    const auto index = test::makeIndex({"/log", "/log.c", "/logger", "/a-log", "/blog", "/catalog"});
    const auto lifted = [&](const Boosts& boosts, bool ascending = true) {
        index->setFrecency(std::make_shared<test::FixedBoost>(boosts));
        return searched(*index, "log", {Key::relevance, ascending});
    };
    using testing::ElementsAre;
    EXPECT_THAT(lifted({}), ElementsAre("/log", "/log.c", "/logger", "/a-log", "/blog", "/catalog"));
    // One open: first among its like.
    EXPECT_THAT(lifted({{"/catalog", 16}}),
                ElementsAre("/log", "/log.c", "/logger", "/a-log", "/catalog", "/blog"));
    EXPECT_THAT(lifted({{"/catalog", 16}}, false),
                ElementsAre("/blog", "/catalog", "/a-log", "/logger", "/log.c", "/log"));
    EXPECT_THAT(lifted({{"/catalog", 40}}),
                ElementsAre("/log", "/log.c", "/logger", "/catalog", "/a-log", "/blog"));
    EXPECT_THAT(lifted({{"/catalog", 71}}),
                ElementsAre("/log", "/log.c", "/catalog", "/logger", "/a-log", "/blog"));
    EXPECT_THAT(lifted({{"/log", 72}, {"/blog", 72}}),
                ElementsAre("/log", "/blog", "/log.c", "/logger", "/a-log", "/catalog"));
    // Other orders know nothing of it.
    EXPECT_THAT(searched(*index, "log", {Key::name, true}, 1), ElementsAre("/a-log"));
}

}  // namespace
}  // namespace dovra
