#include "Query/Alternatives.hpp"

#include "Base/AsciiFold.hpp"

namespace dovra {

namespace {

/// Fewer texts are searched one by one, each at the speed of memory or behind a test of signatures.
constexpr std::size_t fewestMerged = 8;

}  // namespace

void Alternatives::add(const PlainTextTerm& term) {
    terms_[Kind(term.target, isAscii(term.text))].push_back(term);
}

std::vector<NodeIndex> Alternatives::merged(QueryTree& tree,
                                            const std::function<NodeIndex(std::string_view)>& leafOf) {
    std::vector<NodeIndex> nodes;
    for (const auto& [kind, terms] : std::exchange(terms_, {})) {
        if (terms.size() < fewestMerged) {
            for (const PlainTextTerm& term : terms)
                nodes.push_back(leafOf(term.term));
            continue;
        }
        std::vector<std::string_view> texts;
        texts.reserve(terms.size());
        for (const PlainTextTerm& term : terms)
            texts.push_back(term.text);
        nodes.push_back(tree.add(TextMatcher::anyOf(kind.first, texts, terms.front().caseSensitive)));
    }
    return nodes;
}

}  // namespace dovra
