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
        text += token.kind == Token::Kind::term ? "[" + token.text + "]"
                                                : std::string(1, "|!<>"[static_cast<int>(token.kind) - 1]);
    }
    return text;
}

TEST(Tokenizer, CutsQueriesIntoTermsAndOperators) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {" \t ", ""},
        {"\"\"", ""},
        {"a\nb\rc", "[a\nb\rc]"},
        {"a|b", "[a],|,[b]"},
        {"!a !!b", "!,[a],!,!,[b]"},
        {"size:>=1 x", "[size:>=1],[x]"},
        {"dm:<2024>", "[dm:<2024],>"},
        {"a: <b", "[a:],<,[b]"},
        {"a::<<b", "[a::<],<,[b]"},
        {"ab\"c d\"e", "[abc de]"},
        {"\"a\"\"b\"", "[ab]"},
        {"\"<|>! \t\"", "[<|>! \t]"},
        {"\"a:\"<b", "[a:<b]"},
        {"\"!\"a", "[!a]"},
        {"\"\"!a", "!,[a]"},
        {"\"open a|b", "[open a|b]"},
        {"\xC3\xA9|\xFF <\xE2\x80\x83>", "[\xC3\xA9],|,[\xFF],<,[\xE2\x80\x83],>"},
    };
    for (const auto& [query, expected] : cases)
        EXPECT_EQ(printed(query), expected) << query;
    EXPECT_EQ(tokenize(std::string_view("a\0b", 3)), (std::vector<Token>{{Token::Kind::term, {"a\0b", 3}}}));
}

}  // namespace
}  // namespace dovra
