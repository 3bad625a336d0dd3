#include "Base/TextNeedle.hpp"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "Base/AsciiFold.hpp"
#include "Base/CanonicalForm.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

/// The operations used here fail for lack of memory only.
void require(UErrorCode status) {
    if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

const icu::Normalizer2& canonicalComposition() {
    UErrorCode status = U_ZERO_ERROR;
    static const icu::Normalizer2* const instance = icu::Normalizer2::getNFCInstance(status);
    require(status);
    return *instance;
}

std::u16string_view canonicalForm(std::string_view utf8, bool caseSensitive) {
    thread_local CanonicalForm form;
    return form.of(utf8, !caseSensitive);
}

bool isAscii16(const std::u16string& text) {
    return std::ranges::all_of(text, [](char16_t unit) { return unit < 128; });
}

/// The bytes of an ASCII needle; empty, and never used, for any other.
std::string asciiBytes(const std::u16string& text) {
    return isAscii16(text) ? std::string(text.begin(), text.end()) : std::string();
}

/// Whether the text before `position` and the character at it do not compose.
bool isBoundary(std::u16string_view text, std::size_t position) {
    if (position == text.size()) return true;
    UChar32 next = 0;
    U16_GET(text.data(), 0, position, text.size(), next);
    return canonicalComposition().hasBoundaryBefore(next);
}

}  // namespace

std::string lowercased(std::string_view utf8) {
    if (isAscii(utf8)) return asciiFolded(utf8);
    const std::string text = repairUtf8(utf8);
    std::string lower;
    icu::StringByteSink<std::string> sink(&lower);
    UErrorCode status = U_ZERO_ERROR;
    icu::CaseMap::utf8ToLower("", 0, text, sink, nullptr, status);
    require(status);
    return lower;
}

UnicodeNeedle::UnicodeNeedle(std::string_view utf8, bool caseSensitive)
    : folded_(canonicalForm(utf8, caseSensitive)),
      ascii_(asciiBytes(folded_), caseSensitive),
      foldedIsAscii_(isAscii16(folded_)),
      caseSensitive_(caseSensitive) {}

bool UnicodeNeedle::foundIn(std::string_view haystackBytes) const {
    if (isAscii(haystackBytes)) return foldedIsAscii_ && ascii_.foundIn(haystackBytes);
    if (folded_.empty()) return true;
    const std::u16string_view text = canonicalForm(haystackBytes, caseSensitive_);
    for (std::size_t at = text.find(folded_); at != std::u16string_view::npos;
         at = text.find(folded_, at + 1)) {
        const std::size_t end = at + folded_.size();
        if (isBoundary(text, end)) return true;
    }
    return false;
}

bool UnicodeNeedle::isPrefixOf(std::string_view text) const {
    const std::u16string_view form = canonicalForm(text, caseSensitive_);
    return form.starts_with(folded_) && isBoundary(form, folded_.size());
}

bool UnicodeNeedle::equals(std::string_view text) const {
    return canonicalForm(text, caseSensitive_) == folded_;
}

std::size_t UnicodeNeedle::lastCut(std::string_view text) {
    constexpr std::size_t reach = 1024;
    const std::string_view tail = text.substr(text.size() - std::min(text.size(), reach));
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(tail.data());
    const auto size = static_cast<std::int32_t>(tail.size());
    // The first bytes of a tail within the text may be the end of a character.
    const std::int32_t first = tail.size() < text.size() ? U8_MAX_LENGTH : 0;
    for (std::int32_t position = size; position > first;) {
        UChar32 character = 0;
        U8_PREV(bytes, 0, position, character);
        // Ill-formed bytes stand alone, but at the very end they may be the start of a character.
        const bool mayBeCutOff = size - position <= 3;
        const bool isBoundary =
            character < 0 ? !mayBeCutOff : bool(canonicalComposition().hasBoundaryBefore(character));
        if (isBoundary) return text.size() - tail.size() + static_cast<std::size_t>(position);
    }
    return text.size();
}

}  // namespace dovra
