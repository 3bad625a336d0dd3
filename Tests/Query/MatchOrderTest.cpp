#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "Base/PathText.hpp"
#include "Query/MatchOrder.hpp"
#include "Support/IndexBuilder.hpp"

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

}  // namespace
}  // namespace dovra
