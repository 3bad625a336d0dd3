#pragma once

#include <string_view>
#include <variant>

#include "Base/AsciiFold.hpp"
#include "Base/ByteNeedle.hpp"
#include "Base/UnicodeFold.hpp"

namespace dovra {

/// A text to look for in other texts: plain ASCII as bytes, under ASCII folding unless case-sensitive; any
/// other by the rule of `UnicodeNeedle`. Immutable; safe from any thread.
class TextNeedle {
public:
    TextNeedle(std::string_view needle, bool caseSensitive)
        : search_(isAscii(needle) ? decltype(search_)(ByteNeedle(needle, caseSensitive))
                                  : UnicodeNeedle(needle, caseSensitive)) {}

    bool foundIn(std::string_view text) const {
        return std::visit([&](const auto& needle) { return needle.foundIn(text); }, search_);
    }

    /// Whether the text begins with the needle, or is the needle.
    bool isPrefixOf(std::string_view text) const {
        return std::visit([&](const auto& needle) { return needle.isPrefixOf(text); }, search_);
    }
    bool equals(std::string_view text) const {
        return std::visit([&](const auto& needle) { return needle.equals(text); }, search_);
    }

private:
    std::variant<ByteNeedle, UnicodeNeedle> search_;
};

}  // namespace dovra
