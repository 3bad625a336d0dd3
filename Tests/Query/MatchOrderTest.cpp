#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "Base/PathText.hpp"
#include "Query/MatchOrder.hpp"
#include "Support/FixedBoost.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// The names in the order of relevance to the query. Their order in the index does not matter.
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
    // No word begins with a dot, and a whole word is taken literally.
    expectRelevanceOrder("*.md", {".md", "b.md", "a-.md", "long.md"});
    expectRelevanceOrder("ww:*a", {"*a", "x*a", "bc-a"});
}

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
        // What is no path is ignored.
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
