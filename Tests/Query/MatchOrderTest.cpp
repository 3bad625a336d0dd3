#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "Base/PathText.hpp"
#include "Query/MatchOrder.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/FixedBoost.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// Names as relevance to the query orders them, whatever their order in the index.
void expectRelevanceOrder(std::string_view query, const std::vector<std::string>& best) {
    std::vector<std::size_t> shuffled(best.size());
    std::iota(shuffled.begin(), shuffled.end(), 0);
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
    std::vector<test::IndexItem> items;
    for (const std::size_t i : shuffled)
        items.emplace_back(joinPath("/", best[i]));
    const auto index = test::makeIndex(items);
    std::vector<EntryId> ids(best.size());
    std::iota(ids.begin(), ids.end(), 0);
    const ReadGuard guard(index->rwlock);
    std::vector<std::string> sorted;
    for (const EntryId id :
         sortMatchesLocked(*index, ids, {SortSpec::Key::relevance, true}, QueryParser::parse(query), 99))
        sorted.emplace_back(index->nameLocked(id));
    EXPECT_EQ(sorted, best) << query;
}

TEST(RelevanceOrder, PrefersNamesThatMeetTheTermWell) {
    expectRelevanceOrder("*Log*|other", {
                                            "LOG",                                  // the whole name
                                            "log.b", "log.txt",                     // the stem
                                            "log-x.txt", "logger.txt",              // the start
                                            "a-log", "myLog", "x.log", "blog log",  // the start of a word
                                            "blog", "catalog",                      // anywhere
                                            "other",                                // another term
                                        });
}

TEST(RelevanceOrder, FoldsAsTheMatchDoes) {
    expectRelevanceOrder("caf\u00E9", {"CAFE\u0301", "Caf\u00C9.txt", "CAF\u00C9s", "myCaf\u00E9",
                                       "my-CAF\u00C9", "xcaf\u00E9", "other"});
    expectRelevanceOrder("gr\u00F6\u00DFe",
                         {"GR\u00D6SSE.md", "Gr\u00F6\u00DFer", "a gr\u00D6sse", "xgr\u00F6\u00DFe"});
    // No word begins with a dot, and a whole word is taken as it stands.
    expectRelevanceOrder("*.md", {".md", "b.md", "a-.md", "long.md"});
    expectRelevanceOrder("ww:*a", {"*a", "x*a", "bc-a"});
}

using Boosts = std::map<std::string, std::int32_t>;
using Key = SortSpec::Key;

std::string randomPath(std::mt19937& random) {
    std::string path;
    for (std::size_t i = random() % 3 + 1; i > 0; --i)
        path.append("/").append(test::randomText(random, "ab", 1, 3));
    return path;
}

std::vector<std::string> searched(const FileIndex& index, std::string_view query, SortSpec sort,
                                  std::int64_t limit = 1000) {
    std::vector<std::string> paths;
    for (const FileRow& row : search(index, query, sort, limit).rows)
        paths.push_back(joinPath(row.path, row.name));
    return paths;
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

TEST(FrecencyLift, IsAddedToScores) {
    // Their scores differ by 3 and by 1.
    const auto index = test::makeIndex({"/ab", "/a-xb", "/a-xxb"});
    const auto lifted = [&](std::int32_t boost, std::int64_t limit) {
        index->setFrecency(std::make_shared<test::FixedBoost>(Boosts{{"/a-xxb", boost}}));
        return searched(*index, "fuzzy:ab", {Key::relevance, true}, limit);
    };
    using testing::ElementsAre;
    EXPECT_THAT(lifted(1, 9), ElementsAre("/ab", "/a-xb", "/a-xxb"));
    EXPECT_THAT(lifted(2, 2), ElementsAre("/ab", "/a-xxb"));
    EXPECT_THAT(lifted(72, 1), ElementsAre("/a-xxb"));
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
