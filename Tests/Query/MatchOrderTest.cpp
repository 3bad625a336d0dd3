#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "Base/JoinPath.hpp"
#include "Query/MatchOrder.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

TEST(RelevanceOrder, PrefersNamesThatMeetTheTermWell) {
    const std::vector<std::string> best = {
        "LOG",       "log",                              // the whole name, in the order of the index
        "log.b",     "log.txt",                          // the stem
        "log-x.txt", "logger.txt",                       // the start
        "a-log",     "myLog",      "x.log", "blog log",  // the start of a word
        "blog",      "catalog",                          // anywhere
        "other",                                         // matched by another term
    };
    std::vector<std::size_t> shuffled(best.size());
    std::iota(shuffled.begin(), shuffled.end(), 0);
    std::shuffle(shuffled.begin() + 2, shuffled.end(), std::mt19937(1));
    std::vector<test::IndexItem> items;
    for (const std::size_t i : shuffled)
        items.emplace_back(joinPath("/", best[i]));
    const auto index = test::makeIndex(items);
    std::vector<EntryId> ids(best.size());
    std::iota(ids.begin(), ids.end(), 0);
    const ReadGuard guard(index->rwlock);
    std::vector<std::string> sorted;
    for (const EntryId id : sortMatchesLocked(*index, ids, {SortSpec::Key::relevance, true},
                                              QueryParser::parse("*Log*|other"), 99))
        sorted.emplace_back(index->nameLocked(id));
    EXPECT_EQ(sorted, best);
}

}  // namespace
}  // namespace dovra
