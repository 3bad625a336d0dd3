#include "Query/QueryParser.hpp"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Query/Alternatives.hpp"
#include "Query/QueryKeys.hpp"
#include "Query/QueryLeaf.hpp"
#include "Query/Tokenizer.hpp"

namespace dovra {

namespace {

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

/// Collects what holds for the whole query; later toggles override earlier ones.
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

/// Builds the tree in one pass. What a recursive descent would keep on the call stack stands in `groups_`,
/// one element for each "<" that is open:
///
///     and:      or { or }            ends at ">" or at the end
///     or:       not { "|" not }
///     not:      "!" not | primary
///     primary:  "<" and [">"] | term | anything else, which stands for "every entry"
class Descent {
public:
    Descent(const std::vector<Token>& tokens, const QueryContext& context, CompiledQuery& query)
        : tokens_(tokens), context_(context), query_(query) {}

    void run() {
        groups_.emplace_back();
        do {
            std::optional<NodeIndex> operand = readOperand();
            while (operand)
                operand = takeOperand(*operand);
        } while (!groups_.empty());
    }

private:
    struct Group {
        std::vector<NodeIndex> conjunction;
        std::vector<NodeIndex> disjunction;
        std::size_t negations = 0;  ///< of the operand that comes next
        bool isNegated = false;     ///< whether an odd number of negations stands around the group
    };

    bool nextIs(Token::Kind kind) const {
        return position_ < tokens_.size() && tokens_[position_].kind == kind;
    }

    /// Whether the operand that comes next counts as its opposite in the whole query.
    bool nextIsNegated() const { return groups_.back().isNegated != (groups_.back().negations % 2 == 1); }

    /// The next operand without its negations; absent when a group was opened instead.
    std::optional<NodeIndex> readOperand() {
        for (; nextIs(Token::Kind::notOperator); ++position_)
            ++groups_.back().negations;
        if (position_ == tokens_.size()) return query_.tree.add(MatchAllNode{});
        const Token& token = tokens_[position_++];
        if (token.kind == Token::Kind::leftBracket) {
            const bool isNegated = nextIsNegated();
            groups_.emplace_back().isNegated = isNegated;
            return std::nullopt;
        }
        return token.kind == Token::Kind::term ? addLeaf(token.text) : query_.tree.add(MatchAllNode{});
    }

    NodeIndex addLeaf(const std::string& term) {
        const auto [known, isNew] = leaves_.try_emplace(term, 0);
        if (isNew) known->second = makeNewLeaf(term);
        // A term that was negated before may not be so here.
        if (!nextIsNegated()) notePositive(known->second);
        return known->second;
    }

    NodeIndex makeNewLeaf(const std::string& term) {
        QueryNode leaf = makeLeaf(term, context_);
        if (const auto* fuzzy = std::get_if<FuzzyMatcher>(&leaf); fuzzy && !query_.primaryFuzzy) {
            query_.primaryFuzzy = *fuzzy;
        }
        if (const auto* similar = std::get_if<SimilarMatcher>(&leaf); similar && !query_.primarySimilar) {
            query_.primarySimilar = *similar;
        }
        return query_.tree.add(std::move(leaf));
    }

    void notePositive(NodeIndex leaf) {
        if (!positive_.insert(leaf).second) return;
        query_.positiveTerms.push_back(leaf);
        const auto* text = std::get_if<TextMatcher>(&query_.tree[leaf]);
        if (query_.plainTerm || text == nullptr || text->target() == MatchTarget::fullPath) return;
        query_.plainTerm = PlainTerm{text->rankedText(), text->isCaseSensitive()};
    }

    /// Puts an operand where it belongs. Returns the finished group when this was its last one, as the
    /// operand of the group around it.
    std::optional<NodeIndex> takeOperand(NodeIndex operand) {
        Group& group = groups_.back();
        group.disjunction.push_back(negated(operand, std::exchange(group.negations, 0)));
        if (nextIs(Token::Kind::orOperator)) {
            ++position_;
            return std::nullopt;
        }
        mergeAlternatives(query_.tree, group.disjunction);
        group.conjunction.push_back(combined<OrNode>(std::exchange(group.disjunction, {})));
        if (position_ < tokens_.size() && !nextIs(Token::Kind::rightBracket)) return std::nullopt;
        return closeGroup();
    }

    std::optional<NodeIndex> closeGroup() {
        std::vector<NodeIndex> conjunction = std::move(groups_.back().conjunction);
        mergeNegations(query_.tree, conjunction);
        std::ranges::stable_sort(conjunction, {}, [&](NodeIndex node) { return query_.tree.weight(node); });
        const NodeIndex node = combined<AndNode>(std::move(conjunction));
        groups_.pop_back();
        query_.tree.setRoot(node);
        if (groups_.empty()) return std::nullopt;  // whatever follows a stray ">" is ignored
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

    /// A term that is repeated says nothing new, and would be tested again for every entry.
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
    std::unordered_map<std::string, NodeIndex> leaves_;
    std::unordered_set<NodeIndex> positive_;
};

}  // namespace

CompiledQuery QueryParser::parse(std::string_view text) {
    CompiledQuery query;
    const std::vector<Token> tokens = tokenize(text);
    const QueryContext context = readFlags(tokens, query);
    Descent(tokens, context, query).run();
    return query;
}

CompiledQuery narrowedToPath(CompiledQuery query, std::string_view text, bool caseSensitive) {
    QueryTree& tree = query.tree;
    // Before the other terms, which may read files.
    const NodeIndex piece = tree.add(TextMatcher::pieceOfPath(text, caseSensitive));
    tree.setRoot(tree.add(AndNode{{piece, tree.root()}}));
    return query;
}

}  // namespace dovra
