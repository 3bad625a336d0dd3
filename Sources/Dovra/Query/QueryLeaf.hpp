#pragma once

#include <optional>
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

/// A term that is a text as it stands, to be found anywhere in its target.
struct PlainTextTerm {
    std::string_view term;
    MatchTarget target;
    std::string_view text;  ///< not empty
    bool caseSensitive;
};

/// The same for a term whose test would be just that, without the cost of making the test. Absent for others,
/// and for some that only turn out to be plain text.
std::optional<PlainTextTerm> plainTextTerm(std::string_view term, const QueryContext& context);

}  // namespace dovra
