#pragma once

#include <optional>
#include <string_view>

#include "Query/QueryNode.hpp"

namespace dovra {

/// The settings that a query's toggles ("case:", "ww:", "path:") make for all its terms.
struct QueryContext {
    bool caseSensitive = false;
    bool wholeWord = false;
    bool matchPath = false;
};

/// The test for one term of a query. Never fails: a term with an unknown key or an unreadable size or date is
/// plain text, and an invalid regular expression restricts nothing.
QueryNode makeLeaf(std::string_view term, const QueryContext& context);

/// A term whose text is searched as it stands, anywhere in its target.
struct PlainTextTerm {
    std::string_view term;
    MatchTarget target;
    std::string_view text;  ///< not empty
    bool caseSensitive;
};

/// The plain text of a term, found without the cost of making its test. Absent for other terms, and for some
/// whose test turns out to be plain text.
std::optional<PlainTextTerm> plainTextTerm(std::string_view term, const QueryContext& context);

}  // namespace dovra
