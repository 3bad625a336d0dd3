#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

#include "Base/AsciiFold.hpp"
#include "Base/ByteNeedle.hpp"

namespace dovra {

/// The text in lower case by the full Unicode mapping of no particular language ("İ" becomes two characters,
/// a final "Σ" becomes "ς"). Ill-formed input is repaired as by `repairUtf8`.
std::string lowercased(std::string_view utf8);

/// A text to look for by Unicode's rules, independent of any language. Immutable; safe from any thread.
///
/// Both sides are compared in `CanonicalForm`, under full case folding unless case-sensitive. So the encoding
/// of an accented letter does not matter. Ill-formed text is repaired first.
///
/// A match never ends in front of a character that composes with the one before it: "и" is not found in "й",
/// nor "か" in "が", in either encoding. A match may begin with such a character if the needle does.
class UnicodeNeedle {
public:
    UnicodeNeedle(std::string_view utf8, bool caseSensitive);

    /// Whether the needle occurs in the text. The empty needle occurs everywhere. Scratch memory of the
    /// calling thread is reused: nothing is allocated in the long run.
    bool foundIn(std::string_view haystackBytes) const;

    /// Whether the text begins with the needle, or is the needle.
    bool isPrefixOf(std::string_view text) const;
    bool equals(std::string_view text) const;

    /// Whether the needle is plain ASCII once folded ("Straße" is, without regard to case). If not, it occurs
    /// in no plain ASCII text.
    bool foldedIsAscii() const { return foldedIsAscii_; }

    /// No text of more bytes than this is one occurrence of the needle.
    std::size_t longestMatchBytes() const { return 4 * folded_.size(); }

    /// The last position at which `text` may be cut without an effect on matches on either side: it lies
    /// between two characters that do not compose. `text` may end within a character. The size of `text` when
    /// there is no such position in its last kilobyte; 0 when it is all one character.
    static std::size_t lastCut(std::string_view text);

private:
    std::u16string folded_;
    ByteNeedle ascii_;  ///< finds the needle in plain ASCII text, if `foldedIsAscii_`
    bool foldedIsAscii_;
    bool caseSensitive_;
};

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

    /// The needle of bytes that it searches by; null unless it is plain ASCII.
    const ByteNeedle* plainBytes() const { return std::get_if<ByteNeedle>(&search_); }

private:
    std::variant<ByteNeedle, UnicodeNeedle> search_;
};

}  // namespace dovra
