#include "Query/MatchOrder.hpp"

#include <algorithm>
#include <bit>
#include <limits>

#include "Base/AsciiFold.hpp"
#include "Base/Concurrency.hpp"
#include "Base/PathText.hpp"
#include "Index/FileIndex.hpp"
#include "Query/PathOrder.hpp"

namespace dovra {

namespace {

bool isAlphanumeric(char c) {
    const auto byte = static_cast<std::uint8_t>(c);
    return isAsciiLetter(byte) || (c >= '0' && c <= '9') || byte >= 128;
}

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

/// A word starts at a letter or digit behind any other byte, and at a capital behind a small letter.
bool startsWord(std::string_view name, std::size_t at) {
    if (!isAlphanumeric(name[at])) return false;
    return !isAlphanumeric(name[at - 1]) || (isUpper(name[at]) && !isUpper(name[at - 1]));
}

}  // namespace

Relevance::Relevance(const std::optional<PlainTerm>& term) {
    if (term && !term->text.empty()) term_.emplace(term->text, term->caseSensitive);
}

Relevance::MatchPlace Relevance::matchPlace(std::string_view name) const {
    if (!term_) return MatchPlace::none;
    const ByteNeedle* bytes = term_->plainBytes();
    if (bytes == nullptr && !term_->foundIn(name)) return MatchPlace::none;
    if (term_->isPrefixOf(name)) {
        if (term_->equals(name)) return MatchPlace::wholeName;
        return term_->equals(stemOf(name)) ? MatchPlace::stem : MatchPlace::start;
    }
    if (bytes != nullptr) return placeBehindStart(*bytes, name);
    for (std::size_t at = 1; at < name.size(); ++at) {
        if (startsWord(name, at) && term_->isPrefixOf(name.substr(at))) return MatchPlace::wordStart;
    }
    return MatchPlace::anywhere;
}

/// Mostly looks at the needle's first byte only: hundreds of thousands of names are put in this order while
/// somebody types.
Relevance::MatchPlace Relevance::placeBehindStart(const ByteNeedle& needle, std::string_view name) {
    const ByteNeedle::Probe first = needle.probeAt(0);
    MatchPlace place = MatchPlace::none;
    for (std::size_t at = 1; at + needle.size() <= name.size(); ++at) {
        const char* start = name.data() + at;
        if (first.difference(start) != 0 || !needle.standsAt(start)) continue;
        if (startsWord(name, at)) return MatchPlace::wordStart;
        place = MatchPlace::anywhere;
    }
    return place;
}

std::uint64_t Relevance::key(std::string_view name, std::int32_t boost) const {
    const std::int32_t rank =
        static_cast<std::int32_t>(matchPlace(name)) * placeStep + RankingBoost::largest - boost;
    return static_cast<std::uint64_t>(rank) << 16 | name.size();
}

FrecencyLift::FrecencyLift(const FileIndex& index) : folders_(index.directoriesLocked()) {
    if (const RankingBoost* frecency = index.frecencyLocked()) boosts_ = frecency->boosts();
    byName_.reserve(boosts_.size());
    for (const auto& [path, boost] : boosts_) {
        if (path.find('/') == std::string::npos) continue;
        byName_.emplace(lastName(path), InFolder{parentPath(path), boost});
        hashes_.set(slot(lastName(path)));
    }
}

std::int32_t FrecencyLift::find(const FileEntry& entry, std::string_view name) const {
    const auto [first, last] = byName_.equal_range(name);
    for (auto candidate = first; candidate != last; ++candidate) {
        const auto& [folder, boost] = candidate->second;
        // The folder's own name rules out most folders without their paths.
        if (folder.ends_with(folders_.name(entry.dirIndex)) && folders_.path(entry.dirIndex) == folder)
            return boost;
    }
    return 0;
}

}  // namespace dovra

// Every order compares 64-bit keys first, and names only for equal keys. The keys stand side by side in one
// array, so most comparisons touch neither an entry nor a name.

namespace dovra {

namespace {

struct Keyed {
    std::uint64_t key;
    EntryId id;
};

/// The first eight bytes of the folded name, so that keys compare like names.
std::uint64_t nameKey(std::string_view name) {
    std::uint64_t key = 0;
    const std::size_t count = std::min<std::size_t>(name.size(), 8);
    for (std::size_t i = 0; i < count; ++i)
        key = key << 8 | asciiFold(static_cast<std::uint8_t>(name[i]));
    return key << (8 * (8 - count)) % 64;
}

/// A key of so many bits, with the start of the name in the others. So most names with equal keys need not be
/// read again for the comparison.
std::uint64_t thenByName(std::uint64_t key, unsigned bits, std::string_view name) {
    return key << (64 - bits) | nameKey(name) >> bits;
}

/// A key in the order of numbers: the sign bit is flipped, and all bits of negative numbers.
std::uint64_t numberKey(double number) {
    const auto bits = std::bit_cast<std::uint64_t>(number);
    constexpr std::uint64_t sign = std::uint64_t{1} << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

/// Matches for which one thread makes keys at a time.
constexpr std::size_t keysPerPiece = 16384;

// Matches lie all over memory, so each entry, and then its name, is prefetched some steps ahead.
constexpr std::size_t entriesAhead = 24;
constexpr std::size_t namesAhead = 12;

template <typename KeyOf>
std::vector<Keyed> keysOfEntries(const FileIndex& index, const std::vector<EntryId>& ids,
                                 const KeyOf& keyOf) {
    const FileEntry* entries = index.entriesLocked().data();
    std::vector<Keyed> keyed(ids.size());
    performInPieces(ids.size(), keysPerPiece, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            if (i + entriesAhead < last) __builtin_prefetch(entries + ids[i + entriesAhead]);
            keyed[i] = {keyOf(entries[ids[i]]), ids[i]};
        }
    });
    return keyed;
}

template <typename KeyOf>
std::vector<Keyed> keysOfNames(const FileIndex& index, const std::vector<EntryId>& ids, const KeyOf& keyOf) {
    const FileEntry* entries = index.entriesLocked().data();
    const std::uint8_t* names = index.namePoolLocked().bytes();
    std::vector<Keyed> keyed(ids.size());
    performInPieces(ids.size(), keysPerPiece, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            if (i + entriesAhead < last) __builtin_prefetch(entries + ids[i + entriesAhead]);
            if (i + namesAhead < last) __builtin_prefetch(names + entries[ids[i + namesAhead]].nameOffset);
            const FileEntry& entry = entries[ids[i]];
            keyed[i] = {keyOf(entry, index.nameLocked(entry)), ids[i]};
        }
    });
    return keyed;
}

/// Sorts by key, then by `compareEqual` (negative, zero or positive), then by identifier, and keeps the first
/// `limit`.
template <typename CompareEqual>
std::vector<EntryId> firstByKey(std::vector<Keyed> keyed, bool ascending, std::int64_t limit,
                                const CompareEqual& compareEqual) {
    const auto comesBefore = [&](const Keyed& a, const Keyed& b) {
        if (a.key != b.key) return (a.key < b.key) == ascending;
        const int order = compareEqual(a.id, b.id);
        return order != 0 ? (order < 0) == ascending : a.id < b.id;
    };
    const auto wanted = static_cast<std::ptrdiff_t>(
        std::min<std::int64_t>(std::max<std::int64_t>(limit, 0), std::ssize(keyed)));
    if (wanted < std::ssize(keyed)) {
        std::ranges::nth_element(keyed, keyed.begin() + wanted, comesBefore);
        keyed.resize(static_cast<std::size_t>(wanted));
    }
    concurrentSort(keyed, comesBefore);
    std::vector<EntryId> sorted(keyed.size());
    std::ranges::transform(keyed, sorted.begin(), &Keyed::id);
    return sorted;
}

int alwaysEqual(EntryId /*a*/, EntryId /*b*/) {
    return 0;
}

}  // namespace

std::vector<EntryId> sortMatchesLocked(const FileIndex& index, std::vector<EntryId> matches, SortSpec spec,
                                       const CompiledQuery& query, std::int64_t limit) {
    const auto first = [&](std::vector<Keyed> keyed, const auto& compareEqual) {
        return firstByKey(std::move(keyed), spec.ascending, limit, compareEqual);
    };
    const auto compareNames = [&](EntryId a, EntryId b) {
        return compareAsciiFolded(index.nameLocked(a), index.nameLocked(b));
    };
    switch (spec.key) {
        case SortSpec::Key::name:
            return first(keysOfNames(index, matches,
                                     [](const FileEntry&, std::string_view name) { return nameKey(name); }),
                         compareNames);
        case SortSpec::Key::size:
            return first(keysOfEntries(index, matches, [](const FileEntry& entry) { return entry.size; }),
                         alwaysEqual);
        case SortSpec::Key::modified:
            return first(keysOfEntries(index, matches,
                                       [](const FileEntry& entry) { return numberKey(entry.modTime); }),
                         alwaysEqual);
        case SortSpec::Key::relevance: {
            const Relevance relevance(query.plainTerm);
            const FrecencyLift lift(index);
            const auto key = [&](const FileEntry& entry, std::string_view name) {
                return thenByName(relevance.key(name, lift.boost(entry, name)), Relevance::keyBits, name);
            };
            return first(keysOfNames(index, matches, key), compareNames);
        }
        case SortSpec::Key::path:
            break;
    }
    return pathOrderLocked(index, std::move(matches), spec.ascending, limit);
}

std::vector<EntryId> scoreSortLocked(const FileIndex& index, const std::vector<EntryId>& matches,
                                     bool bestFirst, const CompiledQuery& query, std::int64_t limit) {
    const FrecencyLift lift(index);
    const auto key = [&](const FileEntry& entry, std::string_view name) {
        const auto score =
            query.primaryFuzzy ? query.primaryFuzzy->score(name) : query.primarySimilar->score(name);
        const std::uint64_t worse = std::numeric_limits<std::uint32_t>::max() -
                                    static_cast<std::uint32_t>(score.value_or(0)) -
                                    static_cast<std::uint32_t>(lift.boost(entry, name));
        return thenByName(worse << 16 | name.size(), 48, name);
    };
    const auto compareNames = [&](EntryId a, EntryId b) {
        return compareAsciiFolded(index.nameLocked(a), index.nameLocked(b));
    };
    return firstByKey(keysOfNames(index, matches, key), bestFirst, limit, compareNames);
}

}  // namespace dovra
