#include "Index/PostingTable.hpp"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <new>

namespace dovra {

namespace {

constexpr std::size_t initialSlots = 1024;

/// How many postings a full list of `count` grows by. The capacity is always the next multiple of this.
std::uint32_t growthStep(std::uint32_t count) {
    return std::max<std::uint32_t>(4, std::bit_floor(count) / 4);
}

EntryId* grownPostings(EntryId* postings, std::uint32_t count) {
    const std::size_t capacity = std::size_t{count} + growthStep(count);
    void* grown = std::realloc(postings, capacity * sizeof(EntryId));
    if (grown == nullptr) throw std::bad_alloc();
    return static_cast<EntryId*>(grown);
}

}  // namespace

void PostingTable::post(std::string_view name, EntryId id) {
    forEachTrigram(name, [&](Trigram trigram) { append(trigram, id); });
}

/// Appends unless the list ends with `id` already: the name has the trigram more than once.
void PostingTable::append(Trigram trigram, EntryId id) {
    if (usedSlots_ * 2 >= slots_.size()) growTable();
    Slot& slot = slots_[slotIndex(trigram)];
    if (slot.count != 0 && slot.postings[slot.count - 1] == id) return;
    if (slot.count % growthStep(slot.count) == 0) {
        slot.postings = grownPostings(slot.postings, slot.count);
        if (slot.count == 0) ++usedSlots_;
        slot.trigram = trigram;
    }
    slot.postings[slot.count++] = id;
    ++postingCount_;
}

std::span<const EntryId> PostingTable::list(Trigram trigram) const {
    if (slots_.empty()) return {};
    const Slot& slot = slots_[slotIndex(trigram)];
    return {slot.postings, slot.count};
}

void PostingTable::clear() {
    for (const Slot& slot : slots_)
        std::free(slot.postings);
    slots_.clear();
    usedSlots_ = 0;
    postingCount_ = 0;
}

/// The trigram's slot, or the free one where it belongs.
std::size_t PostingTable::slotIndex(Trigram trigram) const {
    // Fibonacci hashing: the high bits of the product with 2^32 / golden ratio.
    const std::size_t mask = slots_.size() - 1;
    const std::uint32_t product = trigram * 0x9E3779B1U;
    std::size_t index = product >> std::countl_zero(static_cast<std::uint32_t>(mask));
    while (slots_[index].postings != nullptr && slots_[index].trigram != trigram)
        index = (index + 1) & mask;
    return index;
}

void PostingTable::growTable() {
    PodVector<Slot> grown;
    grown.resizeZeroed(slots_.empty() ? initialSlots : slots_.size() * 2);
    grown.swap(slots_);
    for (const Slot& slot : grown) {
        if (slot.postings != nullptr) slots_[slotIndex(slot.trigram)] = slot;
    }
}

}  // namespace dovra
