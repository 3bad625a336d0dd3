#include <algorithm>
#include <compare>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Base/JoinPath.hpp"
#include "Query/MatchOrder.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

using Key = SortSpec::Key;

/// Three-way comparison of two entries.
using Compare = std::function<int(EntryId a, EntryId b)>;

int sign(std::partial_ordering order) {
    return int{std::is_gt(order)} - int{std::is_lt(order)};
}

class MatchOrderTest : public testing::Test {
protected:
    MatchOrderTest() {
        std::mt19937 random(1);
        const WriteGuard guard(index_.rwlock);
        const DirIndex folder = index_.internDirLocked("/");
        constexpr std::uint64_t sizes[] = {0, 1, 255, 256, std::uint64_t{1} << 32, ~std::uint64_t{0}};
        constexpr double times[] = {0, -1, -1e9, 1, 1.7e9, 4e9};
        for (EntryId id = 0; id < 1000; ++id) {
            // Many equal names, and many that differ behind the first eight bytes only.
            const std::string name =
                (random() % 2 == 0 ? "prefix0" : "") + test::randomText(random, "aAB\xFF", 1, 4);
            index_.appendEntryLocked({.name = name,
                                      .size = sizes[random() % std::size(sizes)],
                                      .modTime = times[random() % std::size(times)]},
                                     folder);
            names_.push_back(name);
            if (random() % 3 != 0) matches_.push_back(id);
        }
    }

    const FileEntry& entry(EntryId id) const { return index_.entriesLocked()[static_cast<std::size_t>(id)]; }
    const std::string& name(EntryId id) const { return names_[static_cast<std::size_t>(id)]; }
    int compareNames(EntryId a, EntryId b) const {
        return asciiFolded(name(a)).compare(asciiFolded(name(b)));
    }

    template <typename Sort>
    void expectOrder(const Compare& compare, const Sort& sort) {
        for (const bool ascending : {true, false}) {
            std::vector<EntryId> expected = matches_;
            std::ranges::stable_sort(expected, [&](EntryId a, EntryId b) {
                return ascending ? compare(a, b) < 0 : compare(a, b) > 0;
            });
            for (const std::int64_t limit : {-1, 0, 1, 100, 100000}) {
                const auto wanted = std::clamp<std::int64_t>(limit, 0, std::ssize(expected));
                EXPECT_EQ(sort(ascending, limit), std::vector(expected.begin(), expected.begin() + wanted))
                    << ascending << limit;
            }
        }
    }

    void expectOrder(Key key, const Compare& compare) {
        expectOrder(compare, [&](bool ascending, std::int64_t limit) {
            return sortMatchesLocked(index_, matches_, {key, ascending}, CompiledQuery(), limit);
        });
    }

    FileIndex index_;
    std::vector<std::string> names_;
    std::vector<EntryId> matches_;
};

TEST_F(MatchOrderTest, SortsByTheKeyAndKeepsTheOrderOfEqualOnes) {
    const ReadGuard guard(index_.rwlock);
    expectOrder(Key::name, [&](EntryId a, EntryId b) { return compareNames(a, b); });
    expectOrder(Key::size, [&](EntryId a, EntryId b) { return sign(entry(a).size <=> entry(b).size); });
    expectOrder(Key::modified,
                [&](EntryId a, EntryId b) { return sign(entry(a).modTime <=> entry(b).modTime); });
}

TEST_F(MatchOrderTest, SortsByScoreThenLengthThenName) {
    const ReadGuard guard(index_.rwlock);
    for (const std::string_view text : {"fuzzy:a", "similar:prefix0ab", "fuzzy:pa similar:aaa"}) {
        const CompiledQuery query = QueryParser::parse(text);
        const auto score = [&](EntryId id) {
            const auto found = query.primaryFuzzy ? query.primaryFuzzy->score(name(id))
                                                  : query.primarySimilar->score(name(id));
            return found.value_or(0);
        };
        expectOrder(
            [&](EntryId a, EntryId b) {
                if (score(a) != score(b)) return score(a) > score(b) ? -1 : 1;
                if (name(a).size() != name(b).size()) return name(a).size() < name(b).size() ? -1 : 1;
                return compareNames(a, b);
            },
            [&](bool ascending, std::int64_t limit) {
                return scoreSortLocked(index_, matches_, ascending, query, limit);
            });
    }
}

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
         sortMatchesLocked(*index, ids, {Key::relevance, true}, QueryParser::parse(query), 99))
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
