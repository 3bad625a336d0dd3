#include "Query/QueryNode.hpp"

#include <algorithm>
#include <utility>

#include "Base/Overloaded.hpp"

namespace dovra {

NodeIndex QueryTree::add(QueryNode node) {
    weights_.push_back(weightOf(node));
    nodes_.push_back(std::move(node));
    return static_cast<NodeIndex>(nodes_.size()) - 1;
}

std::int64_t QueryTree::abandonedMatches() const {
    std::int64_t count = 0;
    for (const QueryNode& node : nodes_) {
        count += std::visit(Overloaded{
                                [](const RegexNode& regex) { return regex.expression.abandonedMatches(); },
                                [](const TextMatcher& text) { return text.abandonedMatches(); },
                                [](const auto&) { return std::int64_t{0}; },
                            },
                            node);
    }
    return count;
}

int QueryTree::largestWeight(const std::vector<NodeIndex>& children) const {
    int largest = 0;
    for (const NodeIndex child : children)
        largest = std::max(largest, weight(child));
    return largest;
}

int QueryTree::weightOf(const QueryNode& node) const {
    return std::visit(Overloaded{
                          [&](const AndNode& conjunction) { return largestWeight(conjunction.children); },
                          [&](const OrNode& disjunction) { return largestWeight(disjunction.children); },
                          [&](const NotNode& negation) { return weight(negation.child); },
                          [](const ContentMatcher&) { return 100; },
                          [](const TagMatcher&) { return tagWeight; },
                          [](const SimilarMatcher&) { return 50; },
                          [](const auto&) { return 0; },
                      },
                      node);
}

}  // namespace dovra
