#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Query/QueryNode.hpp"

namespace dovra {

/// The first term of a query that is plain text on names. Relevance is measured against it.
struct PlainTerm {
    std::string text;  ///< as returned by `TextMatcher::rankedText`
    bool caseSensitive = false;
};

/// A parsed query. Immutable; safe from any thread.
struct CompiledQuery {
    QueryTree tree;
    bool wantsDuplicates = false;         ///< keep only names that occur more than once
    bool wantsContentDuplicates = false;  ///< group by equal contents
    bool wantsEmptyFolders = false;       ///< keep only empty folders
    std::optional<FuzzyMatcher> primaryFuzzy;
    std::optional<SimilarMatcher> primarySimilar;
    std::optional<PlainTerm> plainTerm;
    /// The caller's request to stop. After it the answer comes soon and is worthless.
    std::stop_token stop;

    /// Whether results come in the order of the fuzzy or similarity score, whatever the requested sort.
    bool prefersRelevance() const { return primaryFuzzy.has_value() || primarySimilar.has_value(); }
    bool hasFlags() const { return wantsDuplicates || wantsContentDuplicates || wantsEmptyFolders; }
};

/// The query, restricted to entries whose full paths contain the text as it stands.
CompiledQuery narrowedToPath(CompiledQuery query, std::string_view text, bool caseSensitive);

/// The query language. Terms side by side are joined by AND. "|" binds tighter, and "!" tightest; "<" and ">"
/// group. A toggle applies to the whole query, wherever it stands.
struct QueryParser {
    /// Never fails, because every text has a meaning. Linear in the text, without recursion.
    static CompiledQuery parse(std::string_view text);

    /// The tests of the terms that do not stand under an odd number of negations, each once. A parsed query
    /// may have merged them with others.
    static std::vector<QueryNode> positiveTerms(std::string_view text);
};

}  // namespace dovra
