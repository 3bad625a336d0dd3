#include <gtest/gtest.h>

#include "Diagnostics/QueryGenerator.hpp"
#include "Diagnostics/SearchCheck.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

const std::vector<test::IndexItem> items = {"/src/main.cpp", "/src/Main.hpp", "/doc/read me.txt",
                                            "/doc/\xC3\x89t\xC3\xA9"};

TEST(SearchCheck, FindsAnEngineThatLosesMatches) {
    // An empty trigram index makes the engine find nothing, as a fault of that index would.
    const auto index = test::makeIndex(items);
    SearchCheck check(*index, std::make_shared<TrigramIndex>());
    const auto differences = check.differences({.query = "regex:main", .sort = {}, .limit = 10});
    ASSERT_EQ(differences.size(), 1U);
    EXPECT_EQ(differences.front(),
              "total 0 instead of 2, 0 rows instead of 2 (serial with trigrams, parallel with trigrams)");
    EXPECT_TRUE(check.differences({.query = "main", .sort = {}, .limit = 10}).empty());
    EXPECT_EQ(check.matchedSearches(), 2U);
}

TEST(SearchCheck, QuotesTheQueryForTheShell) {
    const GeneratedSearch search = {
        .query = "it's \"\n\xFF", .sort = {SortSpec::Key::size, false}, .limit = 3};
    EXPECT_EQ(repeatingCommand("/a b", search),
              R"(dovra --search --in $'/a b' --limit 3 --sort size --desc -- $'it\x27s "\x0a\xff')");
}

TEST(QueryGenerator, RepeatsItselfForEqualSeedsAndKeepsToItsLimits) {
    const auto index = test::makeIndex(items);
    QueryGenerator first(*index, 7, {.mayUsePaths = false, .mayReadFiles = false});
    QueryGenerator second(*index, 7, {.mayUsePaths = false, .mayReadFiles = false});
    for (int i = 0; i < 2000; ++i) {
        const GeneratedSearch search = first.next();
        EXPECT_EQ(search.query, second.next().query);
        for (const std::string_view forbidden : {"/", " path:", "matchpath:", "empty:", "content:", "tag:"})
            EXPECT_EQ(search.query.find(forbidden), std::string::npos) << search.query;
        EXPECT_NE(search.sort.key, SortSpec::Key::path);
    }
}

}  // namespace
}  // namespace dovra
