#include "Query/NeedleSet.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Base/CanonicalForm.hpp"

namespace dovra {

namespace {

/// Equal for blocks that are equal when folded, and by chance for others.
std::size_t hashOf(std::string_view block, unsigned bits) {
    std::uint32_t bytes = 0;
    for (const char c : block)
        bytes = bytes << 8 | static_cast<std::uint8_t>(c) | 0x20U;
    return (bytes * 0x9E3779B1U) >> (32 - bits);
}

std::string_view canonicalBytes(std::string_view text, bool caseSensitive) {
    thread_local CanonicalForm form;
    const std::u16string_view units = form.of(text, !caseSensitive);
    return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(char16_t)};
}

std::vector<std::string> canonicalBytes(const std::vector<std::string>& texts, bool caseSensitive) {
    std::vector<std::string> all;
    for (const std::string& text : texts)
        all.emplace_back(canonicalBytes(text, caseSensitive));
    return all;
}

}  // namespace

NeedleSet::NeedleSet(std::vector<std::string> needles, bool caseSensitive) : fold_(!caseSensitive) {
    std::array<std::vector<std::string>, longestBlock> bySize;
    for (std::string& needle : needles) {
        const std::size_t size = std::min(needle.size(), longestBlock);
        bySize[size - 1].push_back(fold_ ? asciiFolded(needle) : std::move(needle));
    }
    for (std::vector<std::string>& group : bySize) {
        if (!group.empty()) addGroup(std::move(group));
    }
}

void NeedleSet::addGroup(std::vector<std::string> needles) {
    std::ranges::sort(needles);
    const auto repeated = std::ranges::unique(
        needles, [](const std::string& kept, const std::string& next) { return next.starts_with(kept); });
    needles.erase(repeated.begin(), repeated.end());

    constexpr std::size_t largestShift = std::numeric_limits<std::uint8_t>::max();
    Group group;
    group.window = std::min(std::ranges::min(needles, {}, &std::string::size).size(), largestShift);
    group.block = std::min(group.window, longestBlock);
    // Few blocks share an entry by chance, but the table must stay in the processor's nearest cache.
    const std::size_t blocks = needles.size() * (group.window - group.block + 1);
    group.hashBits = std::clamp(static_cast<unsigned>(std::bit_width(blocks * 8)), 10U, 15U);
    group.shifts.assign(std::size_t{1} << group.hashBits,
                        static_cast<std::uint8_t>(group.window - group.block + 1));
    for (const std::string& needle : needles) {
        for (std::size_t end = group.block; end <= group.window; ++end) {
            std::uint8_t& shift =
                group.shifts[hashOf({needle.data() + end - group.block, group.block}, group.hashBits)];
            shift = std::min(shift, static_cast<std::uint8_t>(group.window - end));
        }
    }
    group.needles = std::move(needles);
    groups_.push_back(std::move(group));
}

bool NeedleSet::foundIn(std::string_view text) const {
    return std::ranges::any_of(groups_, [&](const Group& group) {
        switch (group.block) {
            case 1:
                return groupFoundIn<1>(group, text);
            case 2:
                return groupFoundIn<2>(group, text);
            default:
                return groupFoundIn<longestBlock>(group, text);
        }
    });
}

template <std::size_t block>
bool NeedleSet::groupFoundIn(const Group& group, std::string_view text) const {
    for (std::size_t end = group.window; end <= text.size();) {
        const std::size_t shift = group.shifts[hashOf({text.data() + end - block, block}, group.hashBits)];
        if (shift == 0 && startsWithOne(group, text.substr(end - group.window))) return true;
        end += std::max<std::size_t>(shift, 1);
    }
    return false;
}

bool NeedleSet::startsWithOne(const Group& group, std::string_view text) const {
    const auto sortsBefore = [&](std::string_view a, std::string_view b) {
        return fold_ ? compareAsciiFolded(a, b) < 0 : a < b;
    };
    const auto behind = std::ranges::upper_bound(group.needles, text, sortsBefore);
    if (behind == group.needles.begin()) return false;
    const std::string& needle = *std::prev(behind);
    return equalFolding(text.substr(0, needle.size()), needle, fold_);
}

UnicodeNeedleSet::UnicodeNeedleSet(const std::vector<std::string>& needles, bool caseSensitive)
    : caseSensitive_(caseSensitive), forms_(canonicalBytes(needles, caseSensitive), true) {
    for (const std::string& needle : needles)
        needles_.emplace_back(needle, caseSensitive);
}

bool UnicodeNeedleSet::foundIn(std::string_view text) const {
    // An occurrence of a form may still end within a character, or begin within a code unit.
    return forms_.foundIn(canonicalBytes(text, caseSensitive_)) &&
           std::ranges::any_of(needles_, [&](const UnicodeNeedle& needle) { return needle.foundIn(text); });
}

}  // namespace dovra
