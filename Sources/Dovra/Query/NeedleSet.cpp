#include "Query/NeedleSet.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <numeric>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Base/CanonicalForm.hpp"

namespace dovra {

namespace {

/// Longer windows would skip more positions, but a window is compared as one number.
constexpr std::size_t longestWindow = sizeof(std::uint64_t);

constexpr std::uint64_t allBits = ~std::uint64_t{0};
constexpr std::uint64_t smallLetters = allBits / 0xFF * 0x20;

/// A number that is equal for byte strings that are equal when folded, and for few others.
template <std::size_t size>
std::uint64_t foldedNumber(const char* bytes) {
    // Two copies of a register's size, because one copy of three bytes would go through memory.
    constexpr std::size_t firstSize = std::bit_floor(size);
    std::uint64_t number = 0;
    std::uint64_t rest = 0;
    std::memcpy(&number, bytes, firstSize);
    std::memcpy(&rest, bytes + firstSize, size - firstSize);
    return number | rest << firstSize * 8 | smallLetters;
}

/// The same for the first bytes of a text that has at least so many.
std::uint64_t foldedNumber(std::string_view text, std::size_t size) {
    std::uint64_t number = 0;
    if (text.size() >= longestWindow) {
        std::memcpy(&number, text.data(), longestWindow);
    } else {
        std::memcpy(&number, text.data(), size);
    }
    return (number & allBits >> (longestWindow - size) * 8) | smallLetters;
}

std::string_view canonicalBytes(std::string_view text, bool caseSensitive) {
    thread_local CanonicalForm form;
    const std::u16string_view units = form.of(text, !caseSensitive);
    return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(char16_t)};
}

NeedleSet canonicalForms(std::span<const std::string_view> texts, bool caseSensitive) {
    std::vector<std::string> forms;
    for (const std::string_view text : texts)
        forms.emplace_back(canonicalBytes(text, caseSensitive));
    return {std::vector<std::string_view>(forms.begin(), forms.end()), true};
}

}  // namespace

NeedleSet::NeedleSet(std::span<const std::string_view> needles, bool caseSensitive) : fold_(!caseSensitive) {
    std::array<std::vector<std::string>, longestBlock> bySize;
    for (const std::string_view needle : needles) {
        const std::size_t size = std::min(needle.size(), longestBlock);
        bySize[size - 1].push_back(fold_ ? asciiFolded(needle) : std::string(needle));
    }
    for (std::vector<std::string>& group : bySize) {
        if (!group.empty()) addGroup(std::move(group));
    }
}

void NeedleSet::addGroup(std::vector<std::string> needles) {
    const std::size_t window =
        std::min(std::ranges::min(needles, {}, &std::string::size).size(), longestWindow);
    const std::size_t block = std::min(window, longestBlock);
    const std::size_t blocksEach = window - block + 1;
    const std::size_t buckets = std::bit_ceil(needles.size());
    Group group{.window = window,
                .block = block,
                .blocks = HashedBits(needles.size() * blocksEach),
                .starts = HashedBits(needles.size()),
                .needles = {},
                .bucketEnds = std::vector<std::uint32_t>(buckets)};

    std::vector<std::pair<std::size_t, std::string>> byBucket;
    byBucket.reserve(needles.size());
    for (std::string& needle : needles) {
        const std::uint64_t start = foldedNumber(needle, window);
        group.starts.insert(start);
        for (std::size_t i = 0; i < blocksEach; ++i)
            group.blocks.insert(foldedNumber(std::string_view(needle).substr(i), block));
        byBucket.emplace_back(hashOf(start) & (buckets - 1), std::move(needle));
    }
    std::ranges::sort(byBucket);
    for (auto& [bucket, needle] : byBucket) {
        // A needle that begins with another one is found with it; the shorter one sorts first.
        const bool isCovered = !group.needles.empty() && needle.starts_with(group.needles.back());
        if (!isCovered) group.needles.push_back(std::move(needle));
        group.bucketEnds[bucket] = static_cast<std::uint32_t>(group.needles.size());
    }
    std::partial_sum(group.bucketEnds.begin(), group.bucketEnds.end(), group.bucketEnds.begin(),
                     [](std::uint32_t before, std::uint32_t end) { return std::max(before, end); });
    groups_.push_back(std::move(group));
}

std::span<const std::string> NeedleSet::Group::bucketOf(std::uint64_t firstWindow) const {
    const std::size_t bucket = hashOf(firstWindow) & (bucketEnds.size() - 1);
    const std::size_t begin = bucket == 0 ? 0 : bucketEnds[bucket - 1];
    return std::span(needles).subspan(begin, bucketEnds[bucket] - begin);
}

bool NeedleSet::foundIn(std::string_view text) const {
    return std::ranges::any_of(groups_,
                               [&](const Group& group) { return firstOf(group, text, 0).has_value(); });
}

std::optional<NeedleSet::Occurrence> NeedleSet::firstOf(const Group& group, std::string_view text,
                                                        std::size_t from) const {
    switch (group.block) {
        case 1:
            return firstWithBlock<1>(group, text, from);
        case 2:
            return firstWithBlock<2>(group, text, from);
        case 3:
            return firstWithBlock<3>(group, text, from);
        default:
            return firstWithBlock<longestBlock>(group, text, from);
    }
}

template <std::size_t block>
std::optional<NeedleSet::Occurrence> NeedleSet::firstWithBlock(const Group& group, std::string_view text,
                                                               std::size_t from) const {
    // Each window holds the block of exactly one of these positions.
    const std::size_t step = group.window - block + 1;
    const HashedBits::View blocks = group.blocks.view();
    for (std::size_t last = from + step - 1; last + block <= text.size(); last += step) {
        if (!blocks.mayHold(foldedNumber<block>(text.data() + last))) continue;
        if (const auto found = firstStart(group, text, last - (step - 1), last)) return found;
    }
    return std::nullopt;
}

/// The first occurrence that begins at one of these positions.
std::optional<NeedleSet::Occurrence> NeedleSet::firstStart(const Group& group, std::string_view text,
                                                           std::size_t from, std::size_t last) const {
    const HashedBits::View starts = group.starts.view();
    for (std::size_t start = from; start <= last && start + group.window <= text.size(); ++start) {
        const std::string_view behind = text.substr(start);
        const std::uint64_t number = foldedNumber(behind, group.window);
        if (!starts.mayHold(number)) continue;
        if (const std::string* needle = startOf(behind, group.bucketOf(number)))
            return Occurrence{start, needle->size()};
    }
    return std::nullopt;
}

/// The needle of the bucket with which the text begins, or null.
const std::string* NeedleSet::startOf(std::string_view text, std::span<const std::string> bucket) const {
    const auto sortsBefore = [&](std::string_view a, std::string_view b) {
        return fold_ ? compareAsciiFolded(a, b) < 0 : a < b;
    };
    const auto behind = std::ranges::upper_bound(bucket, text, sortsBefore);
    if (behind == bucket.begin()) return nullptr;
    const std::string& needle = *std::prev(behind);
    return equalFolding(text.substr(0, needle.size()), needle, fold_) ? &needle : nullptr;
}

UnicodeNeedleSet::UnicodeNeedleSet(std::span<const std::string_view> needles, bool caseSensitive)
    : caseSensitive_(caseSensitive), forms_(canonicalForms(needles, caseSensitive)) {
    for (const std::string_view needle : needles)
        needles_.emplace_back(needle, caseSensitive);
}

bool UnicodeNeedleSet::foundIn(std::string_view text) const {
    // An occurrence of a form may still end within a character, or begin within a code unit.
    return forms_.foundIn(canonicalBytes(text, caseSensitive_)) &&
           std::ranges::any_of(needles_, [&](const UnicodeNeedle& needle) { return needle.foundIn(text); });
}

bool UnicodeNeedleSet::needsNonAscii() const {
    return std::ranges::none_of(needles_, &UnicodeNeedle::foldedIsAscii);
}

}  // namespace dovra
