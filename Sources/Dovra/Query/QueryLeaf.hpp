#pragma once

#include <string_view>

#include "Query/QueryNode.hpp"

namespace dovra {

/// What the toggles of a query ("case:", "ww:", "path:") switch for all its terms.
struct QueryContext {
    bool caseSensitive = false;
    bool wholeWord = false;
    bool matchPath = false;
};

/// The test that one term of a query stands for. Never fails: unknown keys and unreadable sizes and dates
/// become plain text, an invalid regular expression restricts nothing.
QueryNode makeLeaf(std::string_view term, const QueryContext& context);

}  // namespace dovra
