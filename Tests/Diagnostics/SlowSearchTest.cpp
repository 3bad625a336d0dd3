#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Diagnostics/SlowMatch.hpp"
#include "Diagnostics/SlowSearch.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

using Names = std::vector<std::string>;
using Key = SortSpec::Key;

Names namesFound(const FileIndex& index, const std::string& query, SortSpec sort = {}) {
    Names names;
    const auto result = slowSearch(index, query, sort, 1000);
    for (const FileRow& row : result->rows)
        names.push_back(row.name);
    return names;
}

TEST(SlowSearch, ReadsTheQueryLanguage) {
    const auto index = test::makeIndex(
        {"/a/x", "/a/xy", "/a/xyz", {"/a/Big.PDF", 2048}, "/b/my log.txt", "/b/catalog", "/b/a!b", "/b/.rc"});
    struct Case {
        std::string query;
        Names names;
    };
    const Case cases[] = {
        {"x !y", {"x"}},
        {"xyz|x y", {"my log.txt", "xy", "xyz"}},
        {"<xyz z>|my", {"my log.txt", "xyz"}},
        {"!!xyz", {"xyz"}},
        {"xyz > nothing", {"xyz"}},
        {"xyz !", {}},
        {"xyz <", {"xyz"}},
        {"\"y lo\"", {"my log.txt"}},
        {"a!b", {"a!b"}},
        {"x?", {"xy"}},
        {"*.pdf", {"Big.PDF"}},
        {"*.pdf case:", {}},
        {"ext:pdf;txt", {"Big.PDF", "my log.txt"}},
        {"doc:", {"Big.PDF", "my log.txt"}},
        {"ww:log", {"my log.txt"}},
        {"stem:*og", {"catalog", "my log.txt"}},
        {"stem:.rc", {".rc"}},
        {"a/xy", {"xy", "xyz"}},
        {"path:/B/ y", {"my log.txt"}},
        {"size:2KB", {"Big.PDF"}},
        {"size:>0.5k", {"Big.PDF"}},
        {"size:huge", {}},
        {"folder: b", {"b"}},
        {"regex:^x.$", {"xy"}},
        {"regex:( xyz", {"xyz"}},
        {"fuzzy:cag", {"catalog"}},
        {"fuzzy:bG", {}},
        {"similar:catalogs", {"catalog"}},
    };
    for (const auto& [query, names] : cases)
        EXPECT_EQ(namesFound(*index, query), names) << query;
}

TEST(SlowSearch, Sorts) {
    const auto index =
        test::makeIndex({{"/z/ab", 1, 30}, {"/z/B", 2, 10}, {"/y/a", 1, 20}, {"/y-/xAb", 9, 5}});
    struct Case {
        std::string query;
        SortSpec sort;
        Names names;
    };
    const Case cases[] = {
        {"file:", {Key::name, true}, {"a", "ab", "B", "xAb"}},
        {"file:", {Key::name, false}, {"xAb", "B", "ab", "a"}},
        {"file:", {Key::path, true}, {"xAb", "a", "ab", "B"}},
        {"file:", {Key::modified, true}, {"xAb", "B", "a", "ab"}},
        // Equal keys keep the order of the scan, in which /z, which is listed last, is entered first.
        {"file:", {Key::size, true}, {"a", "ab", "B", "xAb"}},
        {"file:", {Key::size, false}, {"xAb", "B", "a", "ab"}},
        {"file: ab", {Key::relevance, true}, {"ab", "xAb"}},
        {"file: ab", {Key::relevance, false}, {"xAb", "ab"}},
        {"fuzzy:b", {Key::size, true}, {"B", "ab", "xAb"}},
    };
    for (const auto& [query, sort, names] : cases)
        EXPECT_EQ(namesFound(*index, query, sort), names) << query << ' ' << int(sort.key) << sort.ascending;
}

TEST(SlowSearch, AppliesWhatHoldsForTheWholeQuery) {
    const auto index = test::makeIndex({"/a/x", "/b/X", "/b/y", "/full/only", "/empty/"});
    EXPECT_EQ(namesFound(*index, "dupe: file:").size(), 2U);
    EXPECT_EQ(namesFound(*index, "empty:"), Names{"empty"});
    {
        const WriteGuard guard(index->rwlock);
        index->tombstoneSubtreeLocked("/full");
    }
    EXPECT_EQ(namesFound(*index, "empty:"), (Names{"empty", "full"}));
    EXPECT_EQ(namesFound(*index, "only"), Names{});
    EXPECT_FALSE(slowSearch(*index, "dupe:content", {}, 1));
    EXPECT_EQ(slowSearch(*index, "file:", {}, 2)->rows.size(), 2U);
    EXPECT_EQ(slowSearch(*index, "file:", {}, 2)->total, 3);
}

TEST(SlowSearch, ScoresFuzzyMatches) {
    EXPECT_EQ(slow::fuzzyScore("fb", "foo_bar", false), 56);
    EXPECT_EQ(slow::fuzzyScore("abc", "ab", false), std::nullopt);
    EXPECT_EQ(slow::fuzzyScore("", "ab", false), 0);
    EXPECT_EQ(slow::similarScore("abcd", "abcd"), 1000);
    EXPECT_EQ(slow::similarScore("abcde", "abcdx"), 500);
}

}  // namespace
}  // namespace dovra
