#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "Query/QueryParser.hpp"
#include "Query/QueryProgram.hpp"
#include "Support/PrintedQuery.hpp"

namespace dovra {
namespace {

using Cases = std::initializer_list<std::pair<std::string_view, std::string_view>>;

void expectTrees(Cases cases) {
    for (const auto& [query, expected] : cases)
        EXPECT_EQ(test::printed(QueryParser::parse(query)), expected) << query;
}

TEST(QueryParser, BuildsTreesByPrecedence) {
    expectTrees({
        {"", "*"},
        {"\"\"", "*"},
        {"a", "a"},
        {"a b c", "and(a, b, c)"},
        {"a b|c", "and(a, or(b, c))"},
        {"a|b|c d|e", "and(or(a, b, c), or(d, e))"},
        {"<a b>|c", "or(and(a, b), c)"},
        {"!a|b", "or(not(a), b)"},
        {"!<a|b> c", "and(not(or(a, b)), c)"},
        {"!!!a", "not(a)"},
        {"<<<a>>>", "a"},
        {"<a b> c", "and(and(a, b), c)"},
        {"<*.md|*.txt> !x", "and(or(*.md, *.txt), not(x))"},
        {"a!b", "a!b"},
    });
}

TEST(QueryParser, ForgivesWhatIsUnbalanced) {
    expectTrees({
        {"a > b", "a"},
        {"a|b> c", "or(a, b)"},
        {"> a", "and(*, a)"},
        {"<a|b", "or(a, b)"},
        {"a <b <c", "and(a, and(b, c))"},
        {"<a>> b", "a"},
        {"<> b", "and(*, b)"},
        {"a <>", "and(a, *)"},
        {"<", "*"},
        {">", "*"},
        {"|", "*"},
        {"||", "or(*, *)"},
        {"a|", "or(a, *)"},
        {"|a", "and(*, a)"},
        {"a||b", "and(or(a, *), b)"},
        {"foo !", "and(foo, not(*))"},
        {"!|a", "and(not(*), a)"},
        {"!> a", "and(not(*), a)"},
        {"<!> a", "and(not(*), a)"},
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
        {"file: FILES:x", "and(file, file)"},
        {"dir: Directories:", "and(folder, folder)"},
        {"ext:jpg;PNG,,gif", "ext(jpg,png,gif)"},
        {"ext:.JPG", "ext(.jpg)"},
        {"ext:;,", "*"},
        {"ext:", "*"},
        {"size:>1mb", "size>1048576"},
        {"size:huge", "size:huge"},
        {"size:a/b", "path(size:a/b)"},
        {"dm:2024 date-created:<2024-02", "and(modified, created)"},
        {"dm:2024-13", "dm:2024-13"},
        {"regex:^A+$", "/^A+$/"},
        {"regex:(", "*"},
        {"regexp:a/b", "/a/b/"},
        {"path: regex:x", "and(*, path(/x/))"},
        {"fuzzy:abc FZ:aBc", "and(fuzzy(abc), fuzzy(aBc)^)"},
        {"fuzzy: similar: content:", "and(*, *, *)"},
        {"like:abc", "similar(1)"},
        {"content:A asciicontent:b", "and(content(A), content(b))"},
        {"tag:RED tags:", "and(tag(red), tag())"},
        {"image:anything", test::printed(QueryParser::parse("image:"))},
        {"case:Ab nocase:Ab", "and(Ab^, Ab)"},
        {"case:a/b", "path(a/b^)"},
        {"path:ab matchpath:c", "and(path(ab), path(c))"},
        {"name:a/b filename:c", "and(a/b, c)"},
        {"stem:x y", "and(stem(x), y)"},
        {"name:", ""},
        {"a/b", "path(a/b)"},
        {"/", "path(/)"},
        {"foo:bar", "foo:bar"},
        {"foo:", "foo:"},
        {":foo", ":foo"},
        {"foo::bar", "foo::bar"},
        {"name::x", ":x"},
        {"nopath:x noww:x empty:x", "and(nopath:x, noww:x, empty:x)"},
        {"path:\"my docs\"", "path(my docs)"},
        {"dupe: dupes:content duplicate:x empty: emptydirs:", "and(*, *, *, *, *)"},
    });
}

TEST(QueryParser, TogglesHoldForTheWholeQuery) {
    expectTrees({
        {"foo case:", "and(foo^, *)"},
        {"nocase: case: foo", "and(*, *, foo^)"},
        {"case: nocase: foo", "and(*, *, foo)"},
        {"!case: foo", "and(not(*), foo^)"},
        {"<CASE: >|foo", "or(*, foo^)"},
        {"\"case:\" foo", "and(*, foo^)"},
        {"case: nocase:foo fuzzy:a regex:b", "and(*, foo, fuzzy(a)^, /b/^)"},
        {"path: foo name:bar nopath", "and(*, path(foo), bar, path(nopath))"},
        {"path: foo nopath:", "and(*, foo, *)"},
        {"case: path:x stem:y", "and(*, path(x^), stem(y^))"},
    });
    const auto matches = [](std::string_view query, std::string_view name) {
        const CompiledQuery compiled = QueryParser::parse(query);
        return QueryProgram(compiled.tree).run([&](const QueryNode& leaf) {
            return std::get<TextMatcher>(leaf).matchesText(name);
        });
    };
    EXPECT_TRUE(matches("ww: log", "my log.txt"));
    EXPECT_FALSE(matches("ww: log", "catalog"));
    EXPECT_TRUE(matches("ww: noww: log", "catalog"));
    EXPECT_FALSE(matches("name:log wholeword:", "catalog"));
    EXPECT_FALSE(matches("ww:log", "catalog"));
    EXPECT_TRUE(matches("ww:*log cat", "cat *log"));
    EXPECT_FALSE(matches("ww:*log cat", "cat log"));
}

TEST(QueryParser, ReadsTheFlagsOfTheWholeQuery) {
    struct Flags {
        std::string_view query;
        bool duplicates, contentDuplicates, emptyFolders;
    };
    const Flags cases[] = {
        {"", false, false, false},
        {"dupe:", true, false, false},
        {"!<a|dupe:x>", true, false, false},
        {"dupe:content", false, true, false},
        {"DUPES:c", false, true, false},
        {"duplicates:bytes duplicate:data", false, true, false},
        {"dupe:Content", true, false, false},
        {"dupe: dupe:content empty:", true, true, true},
        {"EmptyDirs:", false, false, true},
        {"empty:x", false, false, false},
        {"dupe", false, false, false},
        {"a > empty:", false, false, true},
    };
    for (const auto& [text, duplicates, contentDuplicates, emptyFolders] : cases) {
        const CompiledQuery query = QueryParser::parse(text);
        EXPECT_EQ(query.wantsDuplicates, duplicates) << text;
        EXPECT_EQ(query.wantsContentDuplicates, contentDuplicates) << text;
        EXPECT_EQ(query.wantsEmptyFolders, emptyFolders) << text;
        EXPECT_FALSE(query.prefersRelevance());
    }
}

TEST(QueryParser, TheFirstFuzzyAndTheFirstSimilarTermCount) {
    const CompiledQuery query = QueryParser::parse("a !fuzzy:abc <fuzzy:xyz|similar:hello> similar:abc");
    EXPECT_TRUE(query.prefersRelevance());
    EXPECT_EQ(query.primaryFuzzy->pattern(), "abc");
    EXPECT_EQ(query.primarySimilar->queryTrigrams().size(), 3U);
    EXPECT_FALSE(QueryParser::parse("a > fuzzy:abc").prefersRelevance());
    EXPECT_FALSE(QueryParser::parse("fuzzy: similar:").prefersRelevance());
    EXPECT_TRUE(QueryParser::parse("similar:ab").prefersRelevance());
}

TEST(QueryParser, RelevanceFollowsTheFirstPlainTermThatMustHold) {
    const std::pair<std::string_view, std::optional<std::string_view>> cases[] = {
        {"file: report x", "report"},
        {"!draft report", "report"},
        {"!<draft|old> report", "report"},
        {"!<a !b>", "b"},
        {"!<!<a> b>", "a"},
        {"!<<x y>|z", std::nullopt},
        {"!!a", "a"},
        {"!<a x> a", "a"},
        {"path:a", std::nullopt},
        {"!a", std::nullopt},
        {"<<a> b>", "a"},
    };
    for (const auto& [text, expected] : cases) {
        const auto term = QueryParser::parse(text).plainTerm;
        EXPECT_EQ(term ? std::optional<std::string_view>(term->text) : std::nullopt, expected) << text;
    }
}

TEST(QueryParser, BearsQueriesOfAnyDepthAndLength) {
    constexpr std::size_t million = 1'000'000;
    EXPECT_EQ(test::printed(QueryParser::parse(std::string(million, '<') + "a")), "a");
    EXPECT_EQ(test::printed(QueryParser::parse(std::string(million, '!') + "a")), "a");
    EXPECT_EQ(test::printed(QueryParser::parse(std::string(million, '>'))), "*");
    const auto parsedSize = [](std::string_view piece, std::size_t bytes) {
        std::string query;
        while (query.size() < bytes)
            query += piece;
        const CompiledQuery compiled = QueryParser::parse(query);
        // Reading and judging must not recurse either.
        const QueryProgram program(compiled.tree);
        program.run([](const QueryNode&) { return true; });
        program.run([](const QueryNode&) { return false; });
        return compiled.tree.size();
    };
    EXPECT_GT(parsedSize("|", million), million / 2);
    EXPECT_GE(parsedSize("!<a ", million), million / 2);
    EXPECT_GT(parsedSize("<!a|", million), million / 2);
    EXPECT_GT(parsedSize("x|<!", million), million / 4);
    std::string distinct;
    for (int i = 0; distinct.size() < million; ++i)
        distinct += "case:\"a " + std::to_string(i) + "\" ";
    EXPECT_GT(QueryParser::parse(distinct).tree.size(), 50'000U);
}

TEST(QueryParser, AsksForEqualTermsOnce) {
    EXPECT_EQ(test::printed(QueryParser::parse("a b a a")), "and(a, b)");
    EXPECT_EQ(test::printed(QueryParser::parse("a|a a")), "a");
    EXPECT_EQ(test::printed(QueryParser::parse("a !a A")), "and(a, not(a), A)");
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
