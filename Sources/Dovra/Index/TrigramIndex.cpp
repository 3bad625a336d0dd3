#include "Index/TrigramIndex.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <utility>

#include "Base/BitCount.hpp"
#include "Base/Concurrency.hpp"

namespace dovra {

namespace {

using Ids = std::span<const EntryId>;

/// From this ratio of lengths on, searching the longer list for each member of the shorter one beats walking
/// both.
constexpr std::size_t gallopRatio = 16;

/// The first position in `ascending` that is not below `value`, found by doubling steps from the front: cheap
/// when it is near.
const EntryId* gallop(Ids ascending, EntryId value) {
    std::size_t bound = 1;
    while (bound < ascending.size() && ascending[bound] < value)
        bound *= 2;
    const auto window = ascending.subspan(bound / 2, std::min(bound + 1, ascending.size()) - bound / 2);
    return std::to_address(std::ranges::lower_bound(window, value));
}

std::vector<EntryId> intersectByGalloping(Ids shorter, Ids longer) {
    std::vector<EntryId> shared;
    for (const EntryId id : shorter) {
        const auto skipped = static_cast<std::size_t>(gallop(longer, id) - longer.data());
        longer = longer.subspan(skipped);
        if (longer.empty()) break;
        if (longer.front() == id) shared.push_back(id);
    }
    return shared;
}

/// The members of all lists, each once, ascending. A bit for every identifier beats sorting: the lists that
/// are joined hold each identifier many times.
std::vector<EntryId> joined(const std::vector<Ids>& lists) {
    EntryId highest = -1;
    for (const Ids list : lists)
        highest = std::max(highest, list.back());
    std::vector<std::uint64_t> present(static_cast<std::size_t>(highest + 64) / 64);
    for (const Ids list : lists) {
        for (const EntryId id : list)
            present[static_cast<std::size_t>(id) / 64] |= std::uint64_t{1} << (id % 64);
    }
    std::size_t count = 0;
    for (const std::uint64_t word : present)
        count += countBits(word);
    std::vector<EntryId> members;
    members.reserve(count);
    for (std::size_t i = 0; i < present.size(); ++i) {
        for (std::uint64_t word = present[i]; word != 0; word &= word - 1)
            members.push_back(static_cast<EntryId>(i * 64) + std::countr_zero(word));
    }
    return members;
}

}  // namespace

TrigramSet TrigramIndex::trigrams(std::string_view text) {
    std::vector<Trigram> all;
    all.reserve(text.size());
    forEachTrigram(text, [&](Trigram trigram) { all.push_back(trigram); });
    return trigramSet(std::move(all));
}

std::vector<EntryId> TrigramIndex::intersectSorted(Ids a, Ids b) {
    if (a.size() > b.size()) std::swap(a, b);
    if (b.size() / gallopRatio >= a.size()) return intersectByGalloping(a, b);
    std::vector<EntryId> shared;
    shared.reserve(a.size());
    std::ranges::set_intersection(a, b, std::back_inserter(shared));
    return shared;
}

void TrigramIndex::add(EntryId id, std::string_view name) {
    if (name.size() < trigramLength) return;
    const WriteGuard guard(lock_);
    post(id, name, 0, shardCount);
}

bool TrigramIndex::addAll(std::span<const FileEntry> entries, const NamePool& names,
                          const std::stop_token& stop) {
    constexpr std::size_t entriesPerCheck = 4096;
    const WriteGuard guard(lock_);
    // Each thread reads all names and has parts of its own: lists then grow in order and without locks.
    const std::size_t threads = std::min(activeProcessorCount(), shardCount);
    concurrentPerform(threads, [&](std::size_t thread) {
        const std::size_t first = shardCount * thread / threads;
        const std::size_t last = shardCount * (thread + 1) / threads;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (i % entriesPerCheck == 0 && stop.stop_requested()) return;
            const std::string_view name = names.slice(entries[i].nameOffset, entries[i].nameLen);
            post(static_cast<EntryId>(i), name, first, last);
        }
    });
    return !stop.stop_requested();
}

void TrigramIndex::post(EntryId id, std::string_view name, std::size_t first, std::size_t last) {
    forEachTrigram(name, [&](Trigram trigram) DOVRA_UNCHECKED_LOCKING {
        const std::size_t shard = shardOf(trigram);
        if (shard < first || shard >= last) return;
        PodVector<EntryId>& list = shards_[shard][trigram];
        // The name may have the trigram more than once.
        if (list.empty() || list.back() != id) list.push_back(id);
    });
}

std::span<const EntryId> TrigramIndex::listLocked(Trigram trigram) const {
    const Postings& postings = shards_[shardOf(trigram)];
    const auto found = postings.find(trigram);
    return found == postings.end() ? Ids() : found->second.span();
}

std::optional<std::vector<EntryId>> TrigramIndex::candidates(const TrigramSet& required) const {
    if (required.empty()) return std::nullopt;
    const ReadGuard guard(lock_);
    std::vector<Ids> lists;
    lists.reserve(required.size());
    for (const Trigram trigram : required) {
        lists.push_back(listLocked(trigram));
        if (lists.back().empty()) return std::vector<EntryId>();
    }
    // The rarest trigram first: it bounds the work of every step.
    std::ranges::stable_sort(lists, {}, &Ids::size);
    std::vector<EntryId> shared(lists.front().begin(), lists.front().end());
    for (std::size_t i = 1; i < lists.size() && !shared.empty(); ++i)
        shared = intersectSorted(shared, lists[i]);
    return shared;
}

std::vector<EntryId> TrigramIndex::unionOf(const TrigramSet& accepted) const {
    const ReadGuard guard(lock_);
    std::vector<Ids> lists;
    lists.reserve(accepted.size());
    for (const Trigram trigram : accepted) {
        const Ids list = listLocked(trigram);
        if (!list.empty()) lists.push_back(list);
    }
    return joined(lists);
}

std::size_t TrigramIndex::postingCount() const {
    const ReadGuard guard(lock_);
    std::size_t count = 0;
    for (const Postings& postings : shards_) {
        for (const auto& [trigram, list] : postings)
            count += list.size();
    }
    return count;
}

void TrigramIndex::reset() {
    const WriteGuard guard(lock_);
    shards_ = {};
}

}  // namespace dovra
