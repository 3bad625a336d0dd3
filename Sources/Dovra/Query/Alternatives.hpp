#pragma once

#include <functional>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "Query/QueryLeaf.hpp"
#include "Query/QueryNode.hpp"

namespace dovra {

/// Plain texts of a query of which one must occur, or none may. Many texts on one target are merged into one
/// term, so that a name is read once for all of them.
class Alternatives {
public:
    /// Adds a text. The bytes that the term views must live until `merged`.
    void add(const PlainTextTerm& term);

    bool isEmpty() const { return terms_.empty(); }

    /// The nodes that stand for the texts, in no order. Merged terms are new nodes of the tree; `leafOf`
    /// returns the leaves of terms that are too few to be merged. The object is empty afterwards.
    std::vector<NodeIndex> merged(QueryTree& tree, const std::function<NodeIndex(std::string_view)>& leafOf);

private:
    using Kind = std::pair<MatchTarget, bool>;  ///< the target, and whether the text is plain ASCII

    std::map<Kind, std::vector<PlainTextTerm>> terms_;
};

}  // namespace dovra
