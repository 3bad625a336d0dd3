#include <fmt/format.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "Query/QueryParser.hpp"
#include "Query/QueryProgram.hpp"
#include "Support/PrintedQuery.hpp"

namespace dovra {
namespace {

using Cases = std::initializer_list<std::pair<std::string, std::string>>;

void expectTrees(Cases cases) {
    for (const auto& [query, expected] : cases)
        EXPECT_EQ(test::printed(QueryParser::parse(query)), expected) << query;
}

TEST(QueryParser, BuildsTreesByPrecedence) {
    expectTrees({
        {"", "*"},
        {"\"\"", "*"},
        {"a|b|c d|e", "and(or(a, b, c), or(d, e))"},
        {"!a|b", "or(not(a), b)"},
        {"!<a|b> c", "and(not(or(a, b)), c)"},
        {"!!!a", "not(a)"},
        {"<a b> c", "and(and(a, b), c)"},
        {"a!b", "a!b"},
        // What is unbalanced is forgiven.
        {"a > b", "a"},
        {"> a", "and(*, a)"},
        {"a <b <c", "and(a, and(b, c))"},
        {"<a>> b", "a"},
        {"<> b", "and(*, b)"},
        {"||", "or(*, *)"},
        {"|a", "and(*, a)"},
        {"a||b", "and(or(a, *), b)"},
        {"!|a", "and(not(*), a)"},
    });
}

TEST(QueryParser, PutsExpensiveTestsLast) {
    expectTrees({
        {"content:x a similar:abcd tag:t b", "and(a, b, similar(2), tag(t), content(x))"},
        {"!content:x tag:y|a <b|similar:abc>", "and(or(b, similar(1)), or(tag(y), a), not(content(x)))"},
        {"tag:a|b", "or(tag(a), b)"},
    });
}

TEST(QueryParser, ReadsTheTermsOfEveryKey) {
    expectTrees({
        {"ext:jpg;PNG,,gif", "ext(jpg,png,gif)"},
        {"ext:.JPG", "ext(.jpg)"},
        {"ext:;,", "*"},
        {"size:huge", "size:huge"},
        {"size:a/b", "path(size:a/b)"},
        {"dm:2024-13", "dm:2024-13"},
        {"regex:(", "*"},
        {"regexp:a/b", "/a/b/"},
        {"path: regex:x", "and(*, path(/x/))"},
        {"fuzzy: similar: content:", "and(*, *, *)"},
        {"tag:RED tags:", "and(tag(red), tag())"},
        {"image:anything", test::printed(QueryParser::parse("image:"))},
        {"case:a/b", "path(a/b^)"},
        {"name:a/b filename:c", "and(a/b, c)"},
        {"name:", ""},
        {"foo:", "foo:"},
        {":foo", ":foo"},
        {"foo::bar", "foo::bar"},
        {"name::x", ":x"},
        {"nopath:x noww:x empty:x", "and(nopath:x, noww:x, empty:x)"},
        {"dupe: dupes:content duplicate:x empty: emptydirs:", "and(*, *, *, *, *)"},
    });
}

TEST(QueryParser, TogglesHoldForTheWholeQuery) {
    expectTrees({
        {"nocase: case: foo", "and(*, *, foo^)"},
        {"case: nocase: foo", "and(*, *, foo)"},
        {"<CASE: >|foo", "or(*, foo^)"},
        {"\"case:\" foo", "and(*, foo^)"},
        {"case: nocase:foo fuzzy:a regex:b", "and(*, foo, fuzzy(a)^, /b/^)"},
        {"path: foo name:bar nopath", "and(*, path(foo), bar, path(nopath))"},
        {"case: path:x stem:y", "and(*, path(x^), stem(y^))"},
    });
}

TEST(QueryParser, ReadsTheFlagsOfTheWholeQuery) {
    const auto flagsOf = [](std::string_view text) {
        const CompiledQuery query = QueryParser::parse(text);
        return fmt::format("{}{}{}", query.wantsDuplicates ? "names " : "",
                           query.wantsContentDuplicates ? "contents " : "",
                           query.wantsEmptyFolders ? "empty " : "");
    };
    EXPECT_EQ(flagsOf("!<a|dupe:x>"), "names ");
    EXPECT_EQ(flagsOf("dupe:content"), "contents ");
    EXPECT_EQ(flagsOf("duplicates:bytes duplicate:data"), "contents ");
    EXPECT_EQ(flagsOf("dupe:Content"), "names ");
    EXPECT_EQ(flagsOf("dupe: dupe:content empty:"), "names contents empty ");
    EXPECT_EQ(flagsOf("empty:x"), "");
    EXPECT_EQ(flagsOf("a > empty:"), "empty ");
}

TEST(QueryParser, TheFirstFuzzyAndTheFirstSimilarTermCount) {
    const CompiledQuery query = QueryParser::parse("a !fuzzy:abc <fuzzy:xyz|similar:hello> similar:abc");
    EXPECT_TRUE(query.prefersRelevance());
    EXPECT_EQ(query.primaryFuzzy->pattern(), "abc");
    EXPECT_EQ(query.primarySimilar->queryTrigrams().size(), 3U);
    EXPECT_FALSE(QueryParser::parse("fuzzy: similar: > fuzzy:abc").prefersRelevance());
    EXPECT_TRUE(QueryParser::parse("similar:ab").prefersRelevance());
}

TEST(QueryParser, RelevanceFollowsTheFirstPlainTermThatMustHold) {
    const std::pair<std::string_view, std::optional<std::string_view>> cases[] = {
        {"file: report x", "report"},      {"!draft report", "report"},
        {"!<draft|old> report", "report"}, {"!<a !b>", "b"},
        {"!<<x y>|z", std::nullopt},       {"!<a x> a", "a"},
        {"path:a", std::nullopt},          {"<<a> b>", "a"},
    };
    for (const auto& [text, expected] : cases) {
        const auto term = QueryParser::parse(text).plainTerm;
        EXPECT_EQ(term ? std::optional<std::string_view>(term->text) : std::nullopt, expected) << text;
    }
}

TEST(QueryParser, BearsQueriesOfAnyDepthAndLength) {
    constexpr std::size_t million = 1'000'000;
    expectTrees({{std::string(million, '<') + "a", "a"},
                 {std::string(million, '!') + "a", "a"},
                 {std::string(million, '>'), "*"}});
    // Reading and judging must not recurse either.
    for (const std::string_view piece : {"|", "!<a ", "<!a|", "x|<!"}) {
        std::string query;
        while (query.size() < million)
            query += piece;
        const CompiledQuery compiled = QueryParser::parse(query);
        const QueryProgram program(compiled.tree);
        program.run([](const QueryNode&) { return true; });
        program.run([](const QueryNode&) { return false; });
        EXPECT_GT(compiled.tree.size(), million / 4) << piece;
    }
    std::string distinct;
    for (int i = 0; distinct.size() < million; ++i)
        distinct += fmt::format("case:\"a {}\" ", i);
    EXPECT_GT(QueryParser::parse(distinct).tree.size(), 50'000U);
}

TEST(QueryParser, AsksForEqualTermsOnce) {
    expectTrees({{"a b a a", "and(a, b)"}, {"a|a a", "a"}, {"a !a A", "and(a, not(a), A)"}});
    // Each test of a nested repetition is passed over once its outcome is known.
    std::string nested;
    for (int i = 0; i < 10'000; ++i)
        nested += "<a !";
    const CompiledQuery query = QueryParser::parse(nested + "b");
    int tests = 0;
    QueryProgram(query.tree).run([&](const QueryNode&) { return ++tests < 100; });
    EXPECT_LE(tests, 2);
}

}  // namespace
}  // namespace dovra
