#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace dovra {

struct Token {
    enum class Kind : std::uint8_t { term, orOperator, notOperator, leftBracket, rightBracket };

    Kind kind;
    std::string text;  ///< of a term; never empty there

    bool operator==(const Token&) const = default;
};

/// Cuts a query into terms and operators. Quotes are dropped and protect what they enclose; "<" and ">"
/// directly behind a ":" and "!" inside a term are ordinary characters. Works on bytes: every character with
/// a meaning is ASCII, so any bytes are a query.
std::vector<Token> tokenize(std::string_view query);

}  // namespace dovra
