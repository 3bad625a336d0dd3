#include <fmt/format.h>
#include <gtest/gtest.h>
#include <string>

#include "Query/QueryParser.hpp"
#include "Query/QueryProgram.hpp"

namespace dovra {
namespace {

// The comparison with the slow search covers what queries find. These tests cover what it cannot see.

/// The leaves of the query, in the order of their evaluation when all hold: a text, or "#" and a kind.
std::string asked(std::string_view query) {
    const CompiledQuery compiled = QueryParser::parse(query);
    std::string leaves;
    QueryProgram(compiled.tree).run([&](const QueryNode& leaf) {
        const auto* text = std::get_if<TextMatcher>(&leaf);
        leaves += text != nullptr                                ? text->text()
                  : std::holds_alternative<ContentMatcher>(leaf) ? "#content"
                  : std::holds_alternative<TagMatcher>(leaf)     ? "#tag"
                                                                 : "#similar";
        leaves += ' ';
        return true;
    });
    return leaves;
}

TEST(QueryParser, PutsExpensiveTestsLast) {
    EXPECT_EQ(asked("content:x a similar:abcd tag:t b"), "a b #similar #tag #content ");
    EXPECT_EQ(asked("content:x <tag:y a>|b <b similar:abc>"), "b #similar a #tag #content ");
}

TEST(QueryParser, BearsQueriesOfAnyDepthAndLength) {
    constexpr std::size_t million = 1'000'000;
    EXPECT_EQ(asked(std::string(million, '<') + "a"), "a ");
    EXPECT_EQ(asked(std::string(million, '!') + "a"), "a ");
    EXPECT_EQ(asked(std::string(million, '>')), "");
    // Parsing and matching must not recurse either.
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
    EXPECT_EQ(asked("a b a a"), "a b ");
    EXPECT_EQ(asked("a|a a"), "a ");
    // A nested repetition does not test a condition again whose outcome is known.
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
