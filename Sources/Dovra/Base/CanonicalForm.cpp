#include "Base/CanonicalForm.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "Base/AsciiFold.hpp"

// The library's own operations work on whole strings, one after the other, and cost some 200 ns for a name.
// Here each character's result comes from a table, which the library fills page by page on demand. Only the
// order of the accents behind a letter remains to be settled.
//
// The results are the same, because decomposition and folding map each character on its own. The iota below
// (U+0345) needs care: it is an accent that folds to a letter, and the standard sorts the accents before it
// folds. So it stays an accent until the end. It has the highest class and is the last of its run, so nothing
// has to be sorted again once it has become a letter.

namespace dovra {

namespace {

constexpr char16_t iotaBelow = 0x0345;
constexpr char16_t smallIota = 0x03B9;
/// The combining class that U+0345 has and no other character.
constexpr std::uint8_t iotaBelowClass = 240;

/// The result for one character.
struct Mapping {
    std::array<char16_t, 3> units;
    /// How many of `units` count; 0 when the result is longer than that.
    std::uint8_t count;
    /// Canonical combining classes of the first and of the last character; 0 for letters.
    std::uint8_t leadClass;
    std::uint8_t trailClass;
};

constexpr std::size_t pageLength = 256;
using Page = std::array<Mapping, pageLength>;

void require(UErrorCode status) {
    if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

icu::UnicodeString decomposed(const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* form = icu::Normalizer2::getNFDInstance(status);
    require(status);
    icu::UnicodeString result = form->normalize(text, status);
    require(status);
    return result;
}

/// The result for a character; the iota below stays.
icu::UnicodeString converted(UChar32 character, bool foldCase) {
    icu::UnicodeString text = decomposed(icu::UnicodeString(character));
    if (!foldCase) return text;
    const bool hasIota = text.endsWith(icu::UnicodeString(iotaBelow));
    icu::UnicodeString folded(text, 0, text.length() - (hasIota ? 1 : 0));
    folded.foldCase();
    if (hasIota) folded.append(iotaBelow);
    return decomposed(folded);
}

std::uint8_t leadClass(const icu::UnicodeString& text) {
    return u_getCombiningClass(text.char32At(0));
}

std::uint8_t trailClass(const icu::UnicodeString& text) {
    return u_getCombiningClass(text.char32At(text.length() - 1));
}

std::unique_ptr<const Page> makePage(std::size_t number, bool foldCase) {
    auto page = std::make_unique<Page>();
    for (std::size_t i = 0; i < pageLength; ++i) {
        const icu::UnicodeString text = converted(static_cast<UChar32>(number * pageLength + i), foldCase);
        Mapping& mapping = (*page)[i];
        mapping = {.units = {}, .count = 0, .leadClass = leadClass(text), .trailClass = trailClass(text)};
        const auto length = static_cast<std::size_t>(text.length());
        if (length > mapping.units.size()) continue;
        std::copy_n(text.getBuffer(), length, mapping.units.begin());
        mapping.count = static_cast<std::uint8_t>(length);
    }
    return page;
}

/// The pages of the basic plane, 2.5 KB each, made when first asked for. They are never freed, so that
/// threads may go on reading while the process ends.
class MappingTable {
public:
    explicit MappingTable(bool foldCase) : foldCase_(foldCase) {}
    MappingTable(const MappingTable&) = delete;
    MappingTable& operator=(const MappingTable&) = delete;

    /// For characters below U+10000; safe from any thread.
    const Mapping& operator[](UChar32 character) {
        const auto place = static_cast<std::size_t>(character);
        const Page* page = pages_[place / pageLength].load(std::memory_order_acquire);
        if (page == nullptr) page = addPage(place / pageLength);
        return (*page)[place % pageLength];
    }

private:
    const Page* addPage(std::size_t number) {
        std::unique_ptr<const Page> made = makePage(number, foldCase_);
        const Page* present = nullptr;
        // Of two threads that made the same page, the second drops its own.
        if (pages_[number].compare_exchange_strong(present, made.get(), std::memory_order_acq_rel))
            return made.release();
        return present;
    }

    std::array<std::atomic<const Page*>, 0x10000 / pageLength> pages_{};
    bool foldCase_;
};

MappingTable& tableFor(bool foldCase) {
    static MappingTable exact(false);
    static MappingTable folding(true);
    return foldCase ? folding : exact;
}

/// Puts the accents at the end of the text, back to the last letter, into canonical order.
void sortAccents(char16_t* begin, const char16_t* end) {
    const auto size = static_cast<std::int32_t>(end - begin);
    std::int32_t first = size;
    std::vector<UChar32> accents;
    while (first > 0) {
        std::int32_t previous = first;
        UChar32 character = 0;
        U16_PREV(begin, 0, previous, character);
        if (u_getCombiningClass(character) == 0) break;
        accents.push_back(character);
        first = previous;
    }
    std::ranges::reverse(accents);
    std::ranges::stable_sort(accents, {}, u_getCombiningClass);
    for (const UChar32 accent : accents)
        U16_APPEND_UNSAFE(begin, first, accent);
}

/// Appends converted characters to memory that is large enough.
class Writer {
public:
    Writer(char16_t* begin, bool foldCase) : begin_(begin), end_(begin), foldCase_(foldCase) {}

    void appendAscii(char c) {
        startCharacter(0);
        *end_++ = static_cast<std::uint8_t>(foldCase_ ? asciiFold(c) : c);
        trailClass_ = 0;
    }

    void append(const Mapping& mapping) {
        startCharacter(mapping.leadClass);
        end_ = std::copy_n(mapping.units.begin(), mapping.units.size(), end_) -
               (mapping.units.size() - mapping.count);
        endCharacter(mapping.trailClass);
    }

    void append(const icu::UnicodeString& text) {
        startCharacter(leadClass(text));
        end_ = std::copy_n(text.getBuffer(), text.length(), end_);
        endCharacter(trailClass(text));
    }

    std::u16string_view finish() {
        startCharacter(0);
        if (foldCase_ && sawIotaBelow_) std::replace(begin_, end_, iotaBelow, smallIota);
        return {begin_, static_cast<std::size_t>(end_ - begin_)};
    }

private:
    void startCharacter(std::uint8_t leadClass) {
        if (leadClass != 0) {
            isUnsorted_ |= leadClass < trailClass_;
        } else if (isUnsorted_) {
            sortAccents(begin_, end_);
            isUnsorted_ = false;
        }
    }

    void endCharacter(std::uint8_t trailClass) {
        trailClass_ = trailClass;
        sawIotaBelow_ |= trailClass == iotaBelowClass;
    }

    char16_t* begin_;
    char16_t* end_;
    bool foldCase_;
    bool isUnsorted_ = false;
    bool sawIotaBelow_ = false;
    std::uint8_t trailClass_ = 0;
};

}  // namespace

std::u16string_view CanonicalForm::of(std::string_view utf8, bool foldCase) {
    // No character becomes more units than twice its bytes, and a short mapping is written whole.
    const std::size_t room = 2 * utf8.size() + std::tuple_size_v<decltype(Mapping::units)>;
    if (units_.size() < room) units_.resize(room);
    MappingTable& table = tableFor(foldCase);
    Writer writer(units_.data(), foldCase);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(utf8.data());
    for (std::size_t position = 0; position < utf8.size();) {
        if (bytes[position] < 128) {
            writer.appendAscii(utf8[position++]);
            continue;
        }
        UChar32 character = 0;
        U8_NEXT_OR_FFFD(bytes, position, utf8.size(), character);
        const Mapping* mapping = character < 0x10000 ? &table[character] : nullptr;
        if (mapping != nullptr && mapping->count != 0) {
            writer.append(*mapping);
        } else {
            writer.append(converted(character, foldCase));
        }
    }
    return writer.finish();
}

}  // namespace dovra
