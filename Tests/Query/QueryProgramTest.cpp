#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <string>

#include "Base/Overloaded.hpp"
#include "Query/QueryParser.hpp"
#include "Query/QueryProgram.hpp"

namespace dovra {
namespace {

/// Any row of tokens is a query; what is unbalanced is forgiven.
std::string randomQuery(std::mt19937& random) {
    constexpr const char* tokens[] = {"a ", "b ", "c ", "d ", "\"\" ", "!", "!", "|", "<", "<", ">"};
    std::string query;
    for (std::size_t count = random() % 24; count > 0; --count)
        query += tokens[random() % std::size(tokens)];
    return query;
}

const std::string& nameOf(const QueryNode& leaf) {
    return std::get<TextMatcher>(leaf).text();
}

/// Evaluates a tree by definition and notes the leaves that it asks, in order.
struct Reference {
    const QueryTree& tree;
    const std::string& truths;  ///< the names of the leaves that hold
    std::optional<NodeIndex> assumedTrue;
    std::string asked;

    bool holds(NodeIndex node) {
        if (node == assumedTrue) return true;
        const auto childHolds = [&](NodeIndex child) { return holds(child); };
        return std::visit(Overloaded{
                              [&](const AndNode& conjunction) {
                                  return std::ranges::all_of(conjunction.children, childHolds);
                              },
                              [&](const OrNode& disjunction) {
                                  return std::ranges::any_of(disjunction.children, childHolds);
                              },
                              [&](const NotNode& negation) { return !holds(negation.child); },
                              [&](const TextMatcher& leaf) {
                                  asked += leaf.text();
                                  return truths.find(leaf.text()) != std::string::npos;
                              },
                              [](const auto&) { return true; },
                          },
                          tree[node]);
    }
};

bool isSubsequence(const std::string& part, const std::string& whole) {
    std::size_t found = 0;
    for (const char element : whole)
        found += found < part.size() && part[found] == element ? 1 : 0;
    return found == part.size();
}

TEST(QueryProgram, AsksTheSameLeavesAsADirectEvaluationAndComesToTheSame) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        const std::string text = randomQuery(random);
        const QueryTree tree = QueryParser::parse(text).tree;
        std::optional<NodeIndex> assumed;
        if (round % 2 == 0) assumed = static_cast<NodeIndex>(random() % tree.size());
        const QueryProgram program(tree, assumed);
        for (const std::string truths : {"", "a", "bc", "abd", "abcd"}) {
            Reference reference{tree, truths, assumed, {}};
            std::string asked;
            const bool outcome = program.run([&](const QueryNode& leaf) {
                asked += nameOf(leaf);
                return truths.find(nameOf(leaf)) != std::string::npos;
            });
            ASSERT_EQ(outcome, reference.holds(tree.root())) << text;
            ASSERT_TRUE(outcome || !program.acceptsAll()) << text;
            // Constant parts of the tree may save questions, but bring no new ones and no other order.
            ASSERT_TRUE(isSubsequence(asked, reference.asked)) << text;
        }
    }
}

TEST(QueryProgram, SeesWhenNothingIsLeftToTest) {
    const auto acceptsAll = [](std::string_view query, std::optional<NodeIndex> assumed) {
        return QueryProgram(QueryParser::parse(query).tree, assumed).acceptsAll();
    };
    EXPECT_FALSE(acceptsAll("a", std::nullopt));
    EXPECT_TRUE(acceptsAll("a", 0));
    EXPECT_TRUE(acceptsAll("a case:", 0));
    EXPECT_FALSE(acceptsAll("a case:", 1));
}

}  // namespace
}  // namespace dovra
