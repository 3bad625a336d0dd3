#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "Query/QueryNode.hpp"
#include "Query/TextRange.hpp"

namespace dovra {

/// Where a query's positive terms stand in a name that it found: ascending, apart from one another, never
/// within a character. Terms on paths, contents and attributes have no place in a name.
std::vector<TextRange> nameMarks(std::span<const QueryNode> positiveTerms, std::string_view name);

}  // namespace dovra
