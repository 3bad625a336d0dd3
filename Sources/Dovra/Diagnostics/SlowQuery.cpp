#include "Diagnostics/SlowQuery.hpp"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "Diagnostics/SlowLeaf.hpp"

namespace dovra::slow {

namespace {

struct Token {
    char kind;  ///< 't' for a term, else the operator itself
    std::string term;
};

std::vector<Token> tokenize(std::string_view query) {
    std::vector<Token> tokens;
    std::string buffer;
    bool inQuotes = false;
    const auto emit = [&] {
        if (!buffer.empty()) tokens.push_back({'t', buffer});
        buffer.clear();
    };
    for (const char c : query) {
        const bool isAngle = c == '<' || c == '>';
        const bool followsColon = !buffer.empty() && buffer.back() == ':';
        if (c == '"') {
            inQuotes = !inQuotes;
        } else if (!inQuotes && (c == ' ' || c == '\t')) {
            emit();
        } else if (!inQuotes && (c == '|' || (isAngle && !followsColon) || (c == '!' && buffer.empty()))) {
            emit();
            tokens.push_back({c, {}});
        } else {
            buffer += c;
        }
    }
    emit();
    return tokens;
}

void readFlag(const Term& term, Context& context, Query& query) {
    static const std::set<std::string> dupeKeys = {"dupe", "dupes", "duplicate", "duplicates"};
    static const std::set<std::string> contentValues = {"content", "c", "bytes", "data"};
    static const std::set<std::string> emptyKeys = {"empty", "emptyfolder", "emptyfolders", "emptydir",
                                                    "emptydirs"};
    const std::string& key = term.key;
    if (dupeKeys.count(key) > 0) {
        (contentValues.count(term.value) > 0 ? query.wantsContentDuplicates : query.wantsDuplicates) = true;
        return;
    }
    if (!term.value.empty()) return;
    if (key == "case") context.caseSensitive = true;
    if (key == "nocase") context.caseSensitive = false;
    if (key == "wholeword" || key == "ww") context.wholeWord = true;
    if (key == "nowholeword" || key == "noww") context.wholeWord = false;
    if (key == "path" || key == "matchpath") context.matchPath = true;
    if (key == "nopath") context.matchPath = false;
    if (emptyKeys.count(key) > 0) query.wantsEmptyFolders = true;
}

Test matchAll() {
    return [](const Entry&) { return true; };
}

class RecursiveParser {
public:
    RecursiveParser(const std::vector<Token>& tokens, const Context& context, Query& query)
        : tokens_(tokens), context_(context), query_(query) {}

    Test parseAnd(bool isNegated) {
        std::vector<Test> operands = {parseOr(isNegated)};
        while (!atEnd() && next() != '|' && next() != '>')
            operands.push_back(parseOr(isNegated));
        return [operands](const Entry& entry) {
            return std::all_of(operands.begin(), operands.end(),
                               [&](const Test& test) { return test(entry); });
        };
    }

private:
    bool atEnd() const { return position_ == tokens_.size(); }
    char next() const { return tokens_[position_].kind; }

    Test parseOr(bool isNegated) {
        std::vector<Test> operands = {parseNot(isNegated)};
        while (!atEnd() && next() == '|') {
            ++position_;
            operands.push_back(parseNot(isNegated));
        }
        return [operands](const Entry& entry) {
            return std::any_of(operands.begin(), operands.end(),
                               [&](const Test& test) { return test(entry); });
        };
    }

    Test parseNot(bool isNegated) {
        if (atEnd() || next() != '!') return parsePrimary(isNegated);
        ++position_;
        return [operand = parseNot(!isNegated)](const Entry& entry) { return !operand(entry); };
    }

    Test parsePrimary(bool isNegated) {
        if (atEnd()) return matchAll();
        const Token& token = tokens_[position_++];
        if (token.kind == 't') return parseTerm(token.term, isNegated);
        if (token.kind != '<') return matchAll();
        Test group = parseAnd(isNegated);
        if (!atEnd() && next() == '>') ++position_;
        return group;
    }

    Test parseTerm(const std::string& term, bool isNegated) {
        const Leaf leaf = makeLeaf(Term(term), context_);
        if (!query_.fuzzy) query_.fuzzy = leaf.fuzzy;
        if (!query_.similar) query_.similar = leaf.similar;
        if (!query_.plainText && !isNegated) query_.plainText = leaf.plainText;
        return leaf.test;
    }

    const std::vector<Token>& tokens_;
    const Context& context_;
    Query& query_;
    std::size_t position_ = 0;
};

}  // namespace

std::string Entry::fullPath() const {
    std::string path = folder();
    if (path != "/") path += "/";
    return path + name();
}

Query parse(std::string_view text) {
    Query query;
    Context context;
    const std::vector<Token> tokens = tokenize(text);
    for (const Token& token : tokens) {
        if (token.kind == 't') readFlag(Term(token.term), context, query);
    }
    query.test = tokens.empty() ? matchAll() : RecursiveParser(tokens, context, query).parseAnd(false);
    return query;
}

}  // namespace dovra::slow
