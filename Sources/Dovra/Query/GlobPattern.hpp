#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "Base/ByteNeedle.hpp"

namespace dovra {

/// A wildcard pattern over bytes, which must match the whole text. "*" stands for any bytes, and "?" for
/// exactly one byte, even one within a multi-byte character. Frequent shapes are matched without
/// backtracking.
class GlobPattern {
public:
    struct Prefix {
        std::string bytes;
    };
    struct Suffix {
        std::string bytes;
    };
    struct General {
        std::string pattern;
    };
    using Kind = std::variant<Prefix, Suffix, ByteNeedle, General>;

    static GlobPattern compile(std::string_view pattern, bool caseSensitive);

    bool matches(std::string_view text) const;

    const Kind& kind() const { return kind_; }

    /// The longest run of bytes, folded unless case-sensitive, that every matching text contains; may be
    /// empty.
    std::string requiredLiteral() const;

private:
    GlobPattern(Kind kind, bool fold) : kind_(std::move(kind)), fold_(fold) {}

    Kind kind_;
    bool fold_;
};

}  // namespace dovra
