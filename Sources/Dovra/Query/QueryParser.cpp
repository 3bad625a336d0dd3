#include "Query/QueryParser.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Query/Alternatives.hpp"
#include "Query/QueryKeys.hpp"
#include "Query/QueryLeaf.hpp"
#include "Query/QueryNode.hpp"

namespace dovra {

namespace {

struct Token {
    enum class Kind : std::uint8_t { term, orOperator, notOperator, leftBracket, rightBracket };

    Kind kind;
    std::string text;  ///< the text of a term, never empty

    bool operator==(const Token&) const = default;
};

class Tokenizer {
public:
    std::vector<Token> run(std::string_view query) {
        for (const char c : query)
            take(c);
        emitTerm();
        return std::move(tokens_);
    }

private:
    void take(char c) {
        if (c == '"') {
            inQuotes_ = !inQuotes_;
        } else if (!inQuotes_ && (c == ' ' || c == '\t')) {
            emitTerm();
        } else if (const auto kind = operatorOf(c)) {
            emitTerm();
            tokens_.push_back({*kind, {}});
        } else {
            term_ += c;
        }
    }

    std::optional<Token::Kind> operatorOf(char c) const {
        if (inQuotes_) return std::nullopt;
        const bool followsColon = term_.ends_with(':');
        if (c == '|') return Token::Kind::orOperator;
        if (c == '<' && !followsColon) return Token::Kind::leftBracket;
        if (c == '>' && !followsColon) return Token::Kind::rightBracket;
        if (c == '!' && term_.empty()) return Token::Kind::notOperator;
        return std::nullopt;
    }

    void emitTerm() {
        if (!term_.empty()) tokens_.push_back({Token::Kind::term, std::exchange(term_, {})});
    }

    std::vector<Token> tokens_;
    std::string term_;
    bool inQuotes_ = false;
};

/// Cuts a query into terms and operators. Quotes are dropped and protect what they enclose; "<" and ">"
/// directly behind a ":" and "!" inside a term are ordinary characters. Works on bytes: every character with
/// a meaning is ASCII, so any bytes are a query.
std::vector<Token> tokenize(std::string_view query) {
    return Tokenizer().run(query);
}

bool asksForContents(std::string_view value) {
    constexpr std::array<std::string_view, 4> words = {"content", "c", "bytes", "data"};
    return std::ranges::find(words, value) != words.end();
}

void applyToggle(QueryKey key, QueryContext& context, CompiledQuery& query) {
    switch (key) {
        case QueryKey::caseSensitive:
            context.caseSensitive = true;
            break;
        case QueryKey::caseInsensitive:
            context.caseSensitive = false;
            break;
        case QueryKey::wholeWord:
            context.wholeWord = true;
            break;
        case QueryKey::noWholeWord:
            context.wholeWord = false;
            break;
        case QueryKey::path:
            context.matchPath = true;
            break;
        case QueryKey::noPath:
            context.matchPath = false;
            break;
        case QueryKey::emptyFolders:
            query.wantsEmptyFolders = true;
            break;
        default:
            break;
    }
}

/// Collects the toggles and flags of the whole query; later toggles override earlier ones.
QueryContext readFlags(const std::vector<Token>& tokens, CompiledQuery& query) {
    QueryContext context;
    for (const Token& token : tokens) {
        if (token.kind != Token::Kind::term) continue;
        const auto [key, value] = splitKey(token.text);
        const QueryKeyInfo* info = key.empty() ? nullptr : findQueryKey(key);
        if (info == nullptr || !info->isToggle) continue;
        if (info->key == QueryKey::duplicates) {
            (asksForContents(value) ? query.wantsContentDuplicates : query.wantsDuplicates) = true;
        } else if (value.empty()) {
            applyToggle(info->key, context, query);
        }
    }
    return context;
}

/// Builds the tree in one pass. `groups_` takes the place of a recursive descent's call stack, with one
/// element for each open "<":
///
///     and:      or { or }            ends at ">" or at the end
///     or:       not { "|" not }
///     not:      "!" not | primary
///     primary:  "<" and [">"] | term | anything else, which stands for "every entry"
class TreeBuilder {
public:
    TreeBuilder(const std::vector<Token>& tokens, const QueryContext& context, CompiledQuery& query)
        : tokens_(tokens), context_(context), query_(query) {}

    void run() {
        groups_.emplace_back();
        do {
            if (!readOperand()) continue;
            while (const auto group = endOperand())
                takeNode(*group);
        } while (!groups_.empty());
    }

    /// The terms under an even number of negations, by the texts of `tokens`.
    const std::vector<std::string_view>& positiveTerms() const { return positive_; }

private:
    struct Group {
        std::vector<NodeIndex> conjunction;
        Alternatives excluded;  ///< texts that the conjunction excludes
        std::vector<NodeIndex> disjunction;
        Alternatives alternatives;  ///< texts that are further operands of the disjunction
        std::size_t negations = 0;  ///< of the next operand
        bool isNegated = false;     ///< whether an odd number of negations stands around the group
    };

    bool nextIs(Token::Kind kind) const {
        return position_ < tokens_.size() && tokens_[position_].kind == kind;
    }

    /// Whether the next operand is negated in the whole query.
    bool nextIsNegated() const { return groups_.back().isNegated != (groups_.back().negations % 2 == 1); }

    /// Reads the next operand into the innermost group. False when a group was opened instead.
    bool readOperand() {
        for (; nextIs(Token::Kind::notOperator); ++position_)
            ++groups_.back().negations;
        const bool isTerm = nextIs(Token::Kind::term);
        const bool opensGroup = nextIs(Token::Kind::leftBracket);
        const std::size_t token = std::exchange(position_, std::min(position_ + 1, tokens_.size()));
        if (opensGroup) {
            const bool isNegated = nextIsNegated();
            groups_.emplace_back().isNegated = isNegated;
        } else if (isTerm) {
            takeTerm(tokens_[token].text);
        } else {
            takeNode(query_.tree.add(MatchAllNode{}));
        }
        return !opensGroup;
    }

    void takeTerm(const std::string& term) {
        if (!nextIsNegated()) positive_.push_back(term);
        if (const auto plain = plainTextTerm(term, context_)) {
            notePlainTerm(plain->target, {std::string(plain->text), plain->caseSensitive});
            if (Alternatives* others = alternativesOfNext()) {
                others->add(*plain);
                groups_.back().negations = 0;
                return;
            }
        }
        const NodeIndex leaf = leafOf(term);
        // The same term may have been negated at an earlier place, and not at this one.
        if (const auto* text = std::get_if<TextMatcher>(&query_.tree[leaf]))
            notePlainTerm(text->target(), {text->rankedText(), text->isCaseSensitive()});
        takeNode(leaf);
    }

    /// The texts with which the operand just read can be merged if it is plain text; null when there are
    /// none.
    Alternatives* alternativesOfNext() {
        Group& group = groups_.back();
        const bool isNegated = group.negations % 2 == 1;
        const bool isAlone =
            group.disjunction.empty() && group.alternatives.isEmpty() && !nextIs(Token::Kind::orOperator);
        if (isAlone != isNegated) return nullptr;
        return isAlone ? &group.excluded : &group.alternatives;
    }

    void takeNode(NodeIndex operand) {
        Group& group = groups_.back();
        group.disjunction.push_back(negated(operand, std::exchange(group.negations, 0)));
    }

    NodeIndex leafOf(std::string_view term) {
        const auto [known, isNew] = leaves_.try_emplace(term, 0);
        if (isNew) known->second = makeNewLeaf(term);
        return known->second;
    }

    NodeIndex makeNewLeaf(std::string_view term) {
        QueryNode leaf = makeLeaf(term, context_);
        if (const auto* fuzzy = std::get_if<FuzzyMatcher>(&leaf); fuzzy && !query_.primaryFuzzy) {
            query_.primaryFuzzy = *fuzzy;
        }
        if (const auto* similar = std::get_if<SimilarMatcher>(&leaf); similar && !query_.primarySimilar) {
            query_.primarySimilar = *similar;
        }
        return query_.tree.add(std::move(leaf));
    }

    void notePlainTerm(MatchTarget target, PlainTerm term) {
        if (query_.plainTerm || target == MatchTarget::fullPath || nextIsNegated()) return;
        query_.plainTerm = std::move(term);
    }

    /// Ends an operand. Returns the group when this was its last one; the group is then an operand of the
    /// group around it.
    std::optional<NodeIndex> endOperand() {
        if (nextIs(Token::Kind::orOperator)) {
            ++position_;
            return std::nullopt;
        }
        Group& group = groups_.back();
        std::vector<NodeIndex> disjunction = std::exchange(group.disjunction, {});
        for (const NodeIndex node : merged(group.alternatives))
            disjunction.push_back(node);
        if (!disjunction.empty()) group.conjunction.push_back(combined<OrNode>(std::move(disjunction)));
        if (position_ < tokens_.size() && !nextIs(Token::Kind::rightBracket)) return std::nullopt;
        return closeGroup();
    }

    std::vector<NodeIndex> merged(Alternatives& alternatives) {
        return alternatives.merged(query_.tree, [&](std::string_view term) { return leafOf(term); });
    }

    std::optional<NodeIndex> closeGroup() {
        std::vector<NodeIndex> conjunction = std::move(groups_.back().conjunction);
        for (const NodeIndex node : merged(groups_.back().excluded))
            conjunction.push_back(negated(node, 1));
        std::ranges::stable_sort(conjunction, {}, [&](NodeIndex node) { return query_.tree.weight(node); });
        const NodeIndex node = combined<AndNode>(std::move(conjunction));
        groups_.pop_back();
        query_.tree.setRoot(node);
        if (groups_.empty()) return std::nullopt;  // text behind a stray ">" is ignored
        if (nextIs(Token::Kind::rightBracket)) ++position_;
        return node;
    }

    NodeIndex negated(NodeIndex operand, std::size_t times) {
        // Two negations cancel out; one node is enough for any odd number.
        return times % 2 == 0 ? operand : query_.tree.add(NotNode{operand});
    }

    template <typename Operator>
    NodeIndex combined(std::vector<NodeIndex> operands) {
        eraseRepeated(operands);
        return operands.size() == 1 ? operands.front() : query_.tree.add(Operator{std::move(operands)});
    }

    /// A repeated term changes nothing, and would be tested again for every entry.
    static void eraseRepeated(std::vector<NodeIndex>& operands) {
        if (operands.size() < 2) return;
        std::unordered_set<NodeIndex> seen;
        std::erase_if(operands, [&](NodeIndex operand) { return !seen.insert(operand).second; });
    }

    const std::vector<Token>& tokens_;
    const QueryContext& context_;
    CompiledQuery& query_;
    std::size_t position_ = 0;
    std::vector<Group> groups_;
    std::unordered_map<std::string_view, NodeIndex> leaves_;  ///< by the texts of `tokens_`
    std::vector<std::string_view> positive_;
};

}  // namespace

CompiledQuery QueryParser::parse(std::string_view text) {
    CompiledQuery query;
    const std::vector<Token> tokens = tokenize(text);
    const QueryContext context = readFlags(tokens, query);
    TreeBuilder(tokens, context, query).run();
    return query;
}

std::vector<QueryNode> QueryParser::positiveTerms(std::string_view text) {
    CompiledQuery query;
    const std::vector<Token> tokens = tokenize(text);
    const QueryContext context = readFlags(tokens, query);
    TreeBuilder builder(tokens, context, query);
    builder.run();
    std::vector<QueryNode> terms;
    std::unordered_set<std::string_view> seen;
    for (const std::string_view term : builder.positiveTerms()) {
        if (seen.insert(term).second) terms.push_back(makeLeaf(term, context));
    }
    return terms;
}

CompiledQuery narrowedToPath(CompiledQuery query, std::string_view text, bool caseSensitive) {
    QueryTree& tree = query.tree;
    // First, because the other terms may read files.
    const NodeIndex piece = tree.add(TextMatcher::pieceOfPath(text, caseSensitive));
    tree.setRoot(tree.add(AndNode{{piece, tree.root()}}));
    return query;
}

}  // namespace dovra
