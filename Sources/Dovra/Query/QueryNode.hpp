#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "Query/ContentMatcher.hpp"
#include "Query/FileKind.hpp"
#include "Query/Filters.hpp"
#include "Query/FuzzyMatcher.hpp"
#include "Query/RegularExpression.hpp"
#include "Query/SimilarMatcher.hpp"
#include "Query/Tags.hpp"
#include "Query/TextMatcher.hpp"

namespace dovra {

/// The position of a node in its tree.
using NodeIndex = std::int32_t;

struct AndNode {
    std::vector<NodeIndex> children;
};
struct OrNode {
    std::vector<NodeIndex> children;
};
struct NotNode {
    NodeIndex child;
};
struct DateNode {
    DateField field;
    DateFilter filter;
};
struct RegexNode {
    RegularExpression expression;
    MatchTarget target;
    std::string pattern;
    bool caseSensitive;
};
struct MatchAllNode {};

/// One node of a query tree: an operator over other nodes, or a test of one entry.
using QueryNode =
    std::variant<AndNode, OrNode, NotNode, TextMatcher, ExtensionList, SizeFilter, DateNode, TypeFilter,
                 RegexNode, ContentMatcher, FuzzyMatcher, SimilarMatcher, TagMatcher, MatchAllNode>;

/// A query tree in one array. Children are positions, not owned nodes, so that a query nested a hundred
/// thousand deep is built, read and destroyed without recursion. Children stand before their parents, and
/// equal terms share one node. Immutable once parsed; then safe from any thread.
class QueryTree {
public:
    NodeIndex add(QueryNode node);
    const QueryNode& operator[](NodeIndex node) const { return nodes_[static_cast<std::size_t>(node)]; }

    /// The cost of testing the node: 100 for contents, 90 for tags, 50 for similarity, 0 for all other tests.
    /// An operator costs as much as its most expensive child. Expensive tests run last.
    int weight(NodeIndex node) const { return weights_[static_cast<std::size_t>(node)]; }

    /// Whether the query reads the contents or tags of files.
    bool readsFiles() const { return weight(root_) >= tagWeight; }

    NodeIndex root() const { return root_; }
    void setRoot(NodeIndex node) { root_ = node; }
    std::size_t size() const { return nodes_.size(); }

    /// The number of texts that the regular expressions have abandoned since the query was parsed.
    std::int64_t abandonedMatches() const;

    /// Whether the root matches every entry.
    bool matchesAll() const { return std::holds_alternative<MatchAllNode>((*this)[root_]); }

private:
    static constexpr int tagWeight = 90;

    int weightOf(const QueryNode& node) const;
    int largestWeight(const std::vector<NodeIndex>& children) const;

    std::vector<QueryNode> nodes_;
    std::vector<int> weights_;
    NodeIndex root_ = 0;
};

}  // namespace dovra
