#include "Query/MatchOrder.hpp"

#include <algorithm>
#include <bit>
#include <limits>

#include "Base/AsciiFold.hpp"
#include "Query/PathOrder.hpp"
#include "Query/Relevance.hpp"

// Every order is a 64-bit key, compared first, and a comparison of names for the equal ones: the keys stand
// side by side in one array, so that most comparisons touch neither an entry nor a name.

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

/// Orders like the number: the sign bit flipped, and all bits of negative numbers.
std::uint64_t numberKey(double number) {
    const auto bits = std::bit_cast<std::uint64_t>(number);
    constexpr std::uint64_t sign = std::uint64_t{1} << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

/// Sorts by key, then by `compareEqual` (negative, zero or positive), then by identifier, and keeps the
/// first.
template <typename KeyOf, typename CompareEqual>
std::vector<EntryId> firstByKey(const std::vector<EntryId>& ids, bool ascending, std::int64_t limit,
                                KeyOf&& keyOf, CompareEqual&& compareEqual) {
    std::vector<Keyed> keyed(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i)
        keyed[i] = {keyOf(ids[i]), ids[i]};
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
    std::ranges::sort(keyed, comesBefore);
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
    const auto entry = [&](EntryId id) -> const FileEntry& {
        return index.entriesLocked()[static_cast<std::size_t>(id)];
    };
    const auto compareNames = [&](EntryId a, EntryId b) {
        return compareAsciiFolded(index.nameLocked(a), index.nameLocked(b));
    };
    switch (spec.key) {
        case SortSpec::Key::name:
            return firstByKey(
                matches, spec.ascending, limit, [&](EntryId id) { return nameKey(index.nameLocked(id)); },
                compareNames);
        case SortSpec::Key::size:
            return firstByKey(
                matches, spec.ascending, limit, [&](EntryId id) { return entry(id).size; }, alwaysEqual);
        case SortSpec::Key::modified:
            return firstByKey(
                matches, spec.ascending, limit, [&](EntryId id) { return numberKey(entry(id).modTime); },
                alwaysEqual);
        case SortSpec::Key::relevance: {
            const Relevance relevance(query.plainTerm);
            return firstByKey(
                matches, spec.ascending, limit,
                [&](EntryId id) { return relevance.key(index.nameLocked(id)); }, compareNames);
        }
        case SortSpec::Key::path:
            break;
    }
    return pathOrderLocked(index, std::move(matches), spec.ascending, limit);
}

std::vector<EntryId> scoreSortLocked(const FileIndex& index, const std::vector<EntryId>& matches,
                                     bool ascending, const CompiledQuery& query, std::int64_t limit) {
    const auto score = [&](std::string_view name) {
        const auto found =
            query.primaryFuzzy ? query.primaryFuzzy->score(name) : query.primarySimilar->score(name);
        return static_cast<std::uint32_t>(found.value_or(0));
    };
    return firstByKey(
        matches, ascending, limit,
        [&](EntryId id) {
            const std::string_view name = index.nameLocked(id);
            const std::uint64_t worse = std::numeric_limits<std::uint32_t>::max() - score(name);
            return worse << 16 | name.size();
        },
        [&](EntryId a, EntryId b) { return compareAsciiFolded(index.nameLocked(a), index.nameLocked(b)); });
}

}  // namespace dovra
