#include "Query/QueryNode.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "Base/AsciiFold.hpp"
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

namespace {

/// Fewer are looked for one by one: each at the speed of memory, or behind a test of its letters.
constexpr std::size_t fewestMerged = 8;

const TextMatcher* plainText(const QueryTree& tree, NodeIndex node) {
    const auto* text = std::get_if<TextMatcher>(&tree[node]);
    return text != nullptr && text->isSubstring() && !text->text().empty() ? text : nullptr;
}

/// `textOf` gives the text of an operand that may be merged, else null; `add` adds the merged text to the
/// tree.
template <typename TextOf, typename Add>
void merge(std::vector<NodeIndex>& operands, const TextOf& textOf, const Add& add) {
    if (operands.size() < fewestMerged) return;
    using Kind = std::tuple<MatchTarget, bool, bool>;
    std::map<Kind, std::vector<std::string>> texts;
    const auto kindOf = [](const TextMatcher& text) {
        return Kind(text.target(), text.isCaseSensitive(), isAscii(text.text()));
    };
    for (const NodeIndex operand : operands) {
        if (const TextMatcher* text = textOf(operand)) texts[kindOf(*text)].push_back(text->text());
    }
    std::erase_if(texts, [](const auto& group) { return group.second.size() < fewestMerged; });
    std::erase_if(operands, [&](NodeIndex operand) {
        const TextMatcher* text = textOf(operand);
        return text != nullptr && texts.contains(kindOf(*text));
    });
    for (auto& [kind, group] : texts)
        operands.push_back(add(TextMatcher::anyOf(std::get<0>(kind), std::move(group), std::get<1>(kind))));
}

}  // namespace

void mergeAlternatives(QueryTree& tree, std::vector<NodeIndex>& disjunction) {
    merge(
        disjunction, [&](NodeIndex node) { return plainText(tree, node); },
        [&](TextMatcher text) { return tree.add(std::move(text)); });
}

void mergeNegations(QueryTree& tree, std::vector<NodeIndex>& conjunction) {
    merge(
        conjunction,
        [&](NodeIndex node) {
            const auto* negation = std::get_if<NotNode>(&tree[node]);
            return negation == nullptr ? nullptr : plainText(tree, negation->child);
        },
        [&](TextMatcher text) { return tree.add(NotNode{tree.add(std::move(text))}); });
}

}  // namespace dovra
