#include "Query/Tokenizer.hpp"

#include <optional>
#include <utility>

namespace dovra {

namespace {

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

}  // namespace

std::vector<Token> tokenize(std::string_view query) {
    return Tokenizer().run(query);
}

}  // namespace dovra
