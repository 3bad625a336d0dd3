#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "Query/Tokenizer.hpp"

namespace dovra {
namespace {

/// The tokens with "," between them; terms stand in brackets.
std::string printed(std::string_view query) {
    std::string text;
    for (const Token& token : tokenize(query)) {
        if (!text.empty()) text += ',';
        switch (token.kind) {
            case Token::Kind::term:
                text += "[" + token.text + "]";
                break;
            case Token::Kind::orOperator:
                text += '|';
                break;
            case Token::Kind::notOperator:
                text += '!';
                break;
            case Token::Kind::leftBracket:
                text += '<';
                break;
            case Token::Kind::rightBracket:
                text += '>';
                break;
        }
    }
    return text;
}

TEST(Tokenizer, CutsQueriesIntoTermsAndOperators) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        {" \t ", ""},
        {"\"\"", ""},
        {"a b\tc", "[a],[b],[c]"},
        {"a\nb\rc", "[a\nb\rc]"},
        {"a|b", "[a],|,[b]"},
        {"a!b", "[a!b]"},
        {"!a !!b", "!,[a],!,!,[b]"},
        {"a|!b", "[a],|,!,[b]"},
        {"<a b>", "<,[a],[b],>"},
        {"a<b", "[a],<,[b]"},
        {"a>1", "[a],>,[1]"},
        {"size:>1mb", "[size:>1mb]"},
        {"size:>=1 x", "[size:>=1],[x]"},
        {"dm:<2024>", "[dm:<2024],>"},
        {":<a:>", "[:<a:>]"},
        {"a: <b", "[a:],<,[b]"},
        {"a::<<b", "[a::<],<,[b]"},
        {"\"foo bar\"", "[foo bar]"},
        {"ab\"c d\"e", "[abc de]"},
        {"path:\"my docs\"", "[path:my docs]"},
        {"\"a\"\"b\"", "[ab]"},
        {"a\"\"b", "[ab]"},
        {"\"<|>! \t\"", "[<|>! \t]"},
        {"\"a:\"<b", "[a:<b]"},
        {"\"!\"a", "[!a]"},
        {"\"\"!a", "!,[a]"},
        {"\"open a|b", "[open a|b]"},
        {"a \"", "[a]"},
        {"\xC3\xA9|\xFF <\xE2\x80\x83>", "[\xC3\xA9],|,[\xFF],<,[\xE2\x80\x83],>"},
    };
    for (const auto& [query, expected] : cases)
        EXPECT_EQ(printed(query), expected) << query;
    EXPECT_EQ(tokenize(std::string_view("a\0b", 3)), (std::vector<Token>{{Token::Kind::term, {"a\0b", 3}}}));
}

}  // namespace
}  // namespace dovra
