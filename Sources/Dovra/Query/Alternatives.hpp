#pragma once

#include <vector>

#include "Query/QueryNode.hpp"

namespace dovra {

/// Makes one term of many that are plain text on the same target, so that a name is read once for all of
/// them: of the operands of an OR, and of an AND those that are negated. What the operator stands for stays
/// the same; the operands' order does not.
void mergeAlternatives(QueryTree& tree, std::vector<NodeIndex>& disjunction);
void mergeNegations(QueryTree& tree, std::vector<NodeIndex>& conjunction);

}  // namespace dovra
