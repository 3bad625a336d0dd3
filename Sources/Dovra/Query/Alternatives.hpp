#pragma once

#include <functional>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "Query/QueryLeaf.hpp"
#include "Query/QueryNode.hpp"

namespace dovra {

/// Plain texts of which one must occur, or none: many on the same target become one term, so that a name is
/// read once for all of them.
class Alternatives {
public:
    /// The term and what it points to are used until `merged`.
    void add(const PlainTextTerm& term);

    bool isEmpty() const { return terms_.empty(); }

    /// The nodes that stand for the texts, in no order: new ones in the tree, and what `leafOf` returns for
    /// terms that are too few to be merged. Forgets the texts.
    std::vector<NodeIndex> merged(QueryTree& tree, const std::function<NodeIndex(std::string_view)>& leafOf);

private:
    using Kind = std::pair<MatchTarget, bool>;  ///< the target, and whether the text is plain ASCII

    std::map<Kind, std::vector<PlainTextTerm>> terms_;
};

}  // namespace dovra
