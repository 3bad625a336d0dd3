#include "Analysis/DuplicateFinder.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "Base/Print.hpp"

namespace dovra {

namespace {

using Finder = DuplicateFinder;

/// Splits every group by the digests of one range of its files.
std::vector<Finder::IdGroup> split(std::span<const Finder::IdGroup> groups, std::uint64_t offset,
                                   std::uint64_t length, const Finder::DigestFunction& digestsOf) {
    std::vector<Finder::IdGroup> parts;
    for (const Finder::IdGroup& group : groups) {
        std::vector<Finder::DigestRequest> requests;
        for (const EntryId id : group)
            requests.push_back({id, offset, static_cast<std::int64_t>(length)});
        std::ranges::move(Finder::partition(group, digestsOf(requests)), std::back_inserter(parts));
    }
    return parts;
}

}  // namespace

std::vector<Finder::SizeGroup> Finder::sizeGroups(std::span<const Item> items) {
    std::vector<Item> sorted(items.begin(), items.end());
    std::ranges::sort(sorted, [](const Item& a, const Item& b) {
        return a.size != b.size ? a.size > b.size : a.id < b.id;
    });
    std::vector<SizeGroup> groups;
    for (auto first = sorted.begin(); first != sorted.end() && first->size > 0;) {
        const auto last =
            std::find_if(first, sorted.end(), [&](const Item& item) { return item.size != first->size; });
        if (last - first >= 2) {
            SizeGroup& group = groups.emplace_back(first->size);
            std::ranges::transform(first, last, std::back_inserter(group.ids), &Item::id);
        }
        first = last;
    }
    return groups;
}

std::vector<Finder::IdGroup> Finder::partition(std::span<const EntryId> ids,
                                               std::span<const std::optional<Digest>> digests) {
    using Named = std::pair<const Digest*, EntryId>;
    std::vector<Named> named;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (digests[i]) named.emplace_back(&*digests[i], ids[i]);
    }
    std::ranges::sort(named, [](const Named& a, const Named& b) {
        return *a.first != *b.first ? *a.first < *b.first : a.second < b.second;
    });
    std::vector<IdGroup> groups;
    for (auto first = named.begin(); first != named.end();) {
        const auto last = std::find_if(first, named.end(),
                                       [&](const Named& other) { return *other.first != *first->first; });
        if (last - first >= 2) {
            IdGroup& group = groups.emplace_back();
            std::ranges::transform(first, last, std::back_inserter(group), &Named::second);
        }
        first = last;
    }
    std::ranges::sort(groups, {}, [](const IdGroup& group) { return group.front(); });
    return groups;
}

std::vector<Finder::IdGroup> Finder::refine(std::uint64_t size, IdGroup ids, const DigestFunction& digests) {
    if (ids.size() < 2) return {};
    std::vector<IdGroup> groups = {std::move(ids)};
    groups = split(groups, 0, std::min(size, edgeBytes), digests);
    if (size <= edgeBytes) return groups;
    const std::uint64_t tail = size - edgeBytes;
    groups = split(groups, tail, edgeBytes, digests);
    std::uint64_t offset = edgeBytes;
    while (offset < tail && !groups.empty()) {
        const std::uint64_t length = std::min(tail - offset, sliceBytes);
        groups = split(groups, offset, length, digests);
        offset += length;
    }
    return groups;
}

std::uint64_t Finder::reclaimableBytes(std::span<const DuplicateGroup> groups) {
    std::uint64_t sum = 0;
    for (const DuplicateGroup& group : groups) {
        std::uint64_t bytes = 0;
        const std::size_t spare = group.rows.empty() ? 0 : group.rows.size() - 1;
        if (__builtin_mul_overflow(spare, group.sizeBytes, &bytes) ||
            __builtin_add_overflow(sum, bytes, &sum))
            fatalError("more than 18446744073709551615 reclaimable bytes");
    }
    return sum;
}

}  // namespace dovra
