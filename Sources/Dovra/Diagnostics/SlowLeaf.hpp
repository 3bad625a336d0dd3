#pragma once

#include <string>

#include "Diagnostics/SlowQuery.hpp"

namespace dovra::slow {

/// What the toggles of the whole query say.
struct Context {
    bool caseSensitive = false;
    bool wholeWord = false;
    bool matchPath = false;
};

/// A term split at its first ":"; the key is in lower case, and empty when there is none.
struct Term {
    explicit Term(const std::string& term);

    std::string whole;
    std::string key;
    std::string value;
};

/// The meaning of one term. What the term says for the whole query's ranking (its matchers, its plain text)
/// is noted in the same form.
struct Leaf {
    Test test;
    std::function<std::optional<std::int32_t>(const std::string& name)> fuzzy;
    std::function<std::optional<std::int32_t>(const std::string& name)> similar;
    std::optional<PlainText> plainText;
};

Leaf makeLeaf(const Term& term, const Context& context);

}  // namespace dovra::slow
