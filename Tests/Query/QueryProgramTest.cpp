#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <vector>

#include "Base/Overloaded.hpp"
#include "Query/QueryProgram.hpp"

namespace dovra {
namespace {

/// A random tree whose leaves are numbered; the number is the size that a leaf asks for.
class RandomTree {
public:
    explicit RandomTree(unsigned seed) : random_(seed) {
        for (int i = 0; i < 6; ++i)
            free_.push_back(tree.add(SizeFilter{Comparison::eq, leafCount_++}));
        free_.push_back(tree.add(MatchAllNode{}));
        for (std::size_t operators = random_() % 12; operators > 0; --operators)
            addOperator();
        if (free_.size() > 1) tree.add(AndNode{free_});
    }

    std::vector<bool> randomTruths() {
        std::vector<bool> truths(leafCount_);
        for (std::size_t i = 0; i < truths.size(); ++i)
            truths[i] = random_() % 2 == 0;
        return truths;
    }

    NodeIndex randomNode() { return static_cast<NodeIndex>(random_() % tree.size()); }

    QueryTree tree;

private:
    NodeIndex take() {
        const std::size_t at = random_() % free_.size();
        const NodeIndex node = free_[at];
        free_.erase(free_.begin() + static_cast<std::ptrdiff_t>(at));
        return node;
    }

    void addOperator() {
        const std::size_t kind = random_() % 3;
        if (kind == 0) return free_.push_back(tree.add(NotNode{take()}));
        std::vector<NodeIndex> children;
        for (std::size_t count = 1 + random_() % 4; count > 0 && !free_.empty(); --count)
            children.push_back(take());
        free_.push_back(kind == 1 ? tree.add(AndNode{children}) : tree.add(OrNode{children}));
    }

    std::mt19937 random_;
    std::uint64_t leafCount_ = 0;
    std::vector<NodeIndex> free_;
};

/// Evaluates a tree by definition and notes the leaves that it asks, in order.
struct Reference {
    const QueryTree& tree;
    const std::vector<bool>& truths;
    std::optional<NodeIndex> assumedTrue;
    std::vector<std::uint64_t> asked;

    bool holds(NodeIndex node) {
        if (node == assumedTrue) return true;
        return std::visit(Overloaded{
                              [&](const AndNode& conjunction) {
                                  return std::ranges::all_of(conjunction.children,
                                                             [&](NodeIndex child) { return holds(child); });
                              },
                              [&](const OrNode& disjunction) {
                                  return std::ranges::any_of(disjunction.children,
                                                             [&](NodeIndex child) { return holds(child); });
                              },
                              [&](const NotNode& negation) { return !holds(negation.child); },
                              [&](const SizeFilter& leaf) {
                                  asked.push_back(leaf.bytes);
                                  return bool{truths[leaf.bytes]};
                              },
                              [](const auto&) { return true; },
                          },
                          tree[node]);
    }
};

bool isSubsequence(const std::vector<std::uint64_t>& part, const std::vector<std::uint64_t>& whole) {
    std::size_t found = 0;
    for (const std::uint64_t element : whole) {
        if (found < part.size() && part[found] == element) ++found;
    }
    return found == part.size();
}

TEST(QueryProgram, AsksTheSameLeavesAsADirectEvaluationAndComesToTheSame) {
    for (unsigned seed = 0; seed < 3000; ++seed) {
        RandomTree random(seed);
        std::optional<NodeIndex> assumed;
        if (seed % 2 == 0) assumed = random.randomNode();
        const QueryProgram program(random.tree, assumed);
        for (int i = 0; i < 20; ++i) {
            const std::vector<bool> truths = random.randomTruths();
            Reference reference{random.tree, truths, assumed, {}};
            std::vector<std::uint64_t> asked;
            const bool outcome = program.run([&](const QueryNode& leaf) {
                asked.push_back(std::get<SizeFilter>(leaf).bytes);
                return bool{truths[asked.back()]};
            });
            ASSERT_EQ(outcome, reference.holds(random.tree.root())) << seed;
            ASSERT_TRUE(outcome || !program.acceptsAll()) << seed;
            // Constant parts of the tree may save questions, but bring no new ones and no other order.
            ASSERT_TRUE(isSubsequence(asked, reference.asked)) << seed;
        }
    }
}

TEST(QueryProgram, SeesWhenNothingIsLeftToTest) {
    QueryTree tree;
    const NodeIndex leaf = tree.add(SizeFilter{Comparison::eq, 0});
    EXPECT_FALSE(QueryProgram(tree).acceptsAll());
    EXPECT_TRUE(QueryProgram(tree, leaf).acceptsAll());
    const NodeIndex all = tree.add(MatchAllNode{});
    tree.add(AndNode{{leaf, all}});
    EXPECT_TRUE(QueryProgram(tree, leaf).acceptsAll());
    EXPECT_FALSE(QueryProgram(tree, all).acceptsAll());
}

}  // namespace
}  // namespace dovra
