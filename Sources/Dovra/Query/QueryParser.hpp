#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Query/QueryNode.hpp"

namespace dovra {

/// The first term of a query that is plain text on names: relevance order asks how a name meets it.
struct PlainTerm {
    std::string text;  ///< as `TextMatcher::rankedText` says
    bool caseSensitive = false;
};

/// A parsed query. Immutable; any number of threads.
struct CompiledQuery {
    QueryTree tree;
    bool wantsDuplicates = false;         ///< keep only names that occur more than once
    bool wantsContentDuplicates = false;  ///< group by equal contents
    bool wantsEmptyFolders = false;       ///< keep only folders with nothing in them
    std::optional<FuzzyMatcher> primaryFuzzy;
    std::optional<SimilarMatcher> primarySimilar;
    std::optional<PlainTerm> plainTerm;
    /// Of whoever asks. Once a stop is requested the answer comes soon and is worth nothing.
    std::stop_token stop;

    /// Whether results come in the order of the fuzzy or similarity score, whatever sort is asked for.
    bool prefersRelevance() const { return primaryFuzzy.has_value() || primarySimilar.has_value(); }
    bool hasFlags() const { return wantsDuplicates || wantsContentDuplicates || wantsEmptyFolders; }
};

/// What is left of the query's matches when their full paths must contain the text, as it stands.
CompiledQuery narrowedToPath(CompiledQuery query, std::string_view text, bool caseSensitive);

/// The query language. "|" binds tighter than the AND of terms that stand side by side, "!" tightest, "<" and
/// ">" group; the toggles hold for the whole query wherever they stand.
struct QueryParser {
    /// Never fails: every text has a meaning. Linear in the text, without recursion, whatever its nesting.
    static CompiledQuery parse(std::string_view text);

    /// The tests of the terms that do not stand under an odd number of negations, each once. A parsed query
    /// may have merged them with others.
    static std::vector<QueryNode> positiveTerms(std::string_view text);
};

}  // namespace dovra
