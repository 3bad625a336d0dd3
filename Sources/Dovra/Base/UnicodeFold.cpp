#include "Base/UnicodeFold.hpp"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include "Base/AsciiFold.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

/// The operations used here fail for lack of memory only.
void require(UErrorCode status) {
    if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

const icu::Normalizer2& canonicalDecomposition() {
    UErrorCode status = U_ZERO_ERROR;
    static const icu::Normalizer2* const instance = icu::Normalizer2::getNFDInstance(status);
    require(status);
    return *instance;
}

const icu::Normalizer2& canonicalComposition() {
    UErrorCode status = U_ZERO_ERROR;
    static const icu::Normalizer2* const instance = icu::Normalizer2::getNFCInstance(status);
    require(status);
    return *instance;
}

/// One thread's memory for the text under test: its current form, and room for the next one.
class Folder {
public:
    /// The text in the form that is compared; valid until the next call.
    const icu::UnicodeString& fold(std::string_view utf8, bool caseSensitive) {
        decode(utf8);
        decompose();
        if (!caseSensitive) {
            foldCase();
            decompose();
        }
        return text_;
    }

private:
    void decode(std::string_view utf8) {
        // UTF-16 never takes more units than UTF-8 takes bytes.
        const auto length = static_cast<std::int32_t>(utf8.size());
        std::int32_t written = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8WithSub(text_.getBuffer(length), length, &written, utf8.data(), length, 0xFFFD, nullptr,
                             &status);
        text_.releaseBuffer(written);
        require(status);
    }

    void decompose() {
        const icu::Normalizer2& form = canonicalDecomposition();
        UErrorCode status = U_ZERO_ERROR;
        if (form.spanQuickCheckYes(text_, status) == text_.length()) return;
        form.normalize(text_, spare_, status);
        require(status);
        text_.swap(spare_);
    }

    void foldCase() {
        // No character folds to more than three.
        const std::int32_t room = 3 * text_.length();
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t written = icu::CaseMap::fold(0, text_.getBuffer(), text_.length(),
                                                        spare_.getBuffer(room), room, nullptr, status);
        spare_.releaseBuffer(written);
        require(status);
        text_.swap(spare_);
    }

    icu::UnicodeString text_;
    icu::UnicodeString spare_;
};

Folder& folderOfThread() {
    thread_local Folder folder;
    return folder;
}

std::u16string foldedNeedle(std::string_view utf8, bool caseSensitive) {
    const icu::UnicodeString& folded = folderOfThread().fold(utf8, caseSensitive);
    return {folded.getBuffer(), static_cast<std::size_t>(folded.length())};
}

bool isAscii16(const std::u16string& text) {
    return std::ranges::all_of(text, [](char16_t unit) { return unit < 128; });
}

/// The bytes of a needle that is ASCII; nothing that would ever be used otherwise.
std::string asciiBytes(const std::u16string& text) {
    return isAscii16(text) ? std::string(text.begin(), text.end()) : std::string();
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
    : folded_(foldedNeedle(utf8, caseSensitive)),
      ascii_(asciiBytes(folded_), caseSensitive),
      foldedIsAscii_(isAscii16(folded_)),
      caseSensitive_(caseSensitive) {}

bool UnicodeNeedle::foundIn(std::string_view haystackBytes) const {
    if (isAscii(haystackBytes)) return foldedIsAscii_ && ascii_.foundIn(haystackBytes);
    if (folded_.empty()) return true;
    const icu::UnicodeString& folded = folderOfThread().fold(haystackBytes, caseSensitive_);
    const std::u16string_view text(folded.getBuffer(), static_cast<std::size_t>(folded.length()));
    for (std::size_t at = text.find(folded_); at != std::u16string_view::npos;
         at = text.find(folded_, at + 1)) {
        const std::size_t end = at + folded_.size();
        if (end == text.size()) return true;
        const UChar32 next = folded.char32At(static_cast<std::int32_t>(end));
        if (canonicalComposition().hasBoundaryBefore(next)) return true;
    }
    return false;
}

std::size_t UnicodeNeedle::lastCut(std::string_view text) {
    constexpr std::size_t reach = 1024;
    const std::string_view tail = text.substr(text.size() - std::min(text.size(), reach));
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(tail.data());
    const auto size = static_cast<std::int32_t>(tail.size());
    // Where the tail begins within the text, its first bytes may be the end of a character.
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
