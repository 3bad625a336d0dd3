#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "Base/PodVector.hpp"
#include "Index/FileEntry.hpp"
#include "Index/Trigram.hpp"

namespace dovra {

/// For each trigram the ascending list of the entries that were posted under it: an open-addressing hash
/// table whose slots hold the lists' heads.
///
/// A posting costs 4 bytes and at most a quarter more for growth (a list of fewer than 16 postings: up to
/// 16 bytes more); a distinct trigram costs 32 to 64 bytes of table and one block of the heap. A list keeps
/// no capacity: it follows from the count, which lets a slot fit a quarter of a cache line. Not thread-safe.
class PostingTable {
public:
    PostingTable() = default;
    ~PostingTable() { clear(); }
    PostingTable(const PostingTable&) = delete;
    PostingTable& operator=(const PostingTable&) = delete;

    /// Puts `id` at the end of the list of every trigram of `name`, once each. `id` must be higher than any
    /// posted before.
    void post(std::string_view name, EntryId id);

    /// The trigram's list, ascending; empty when nothing was posted. Valid until the next change.
    std::span<const EntryId> list(Trigram trigram) const;

    /// The sum of the lengths of all lists.
    std::size_t postingCount() const { return postingCount_; }

    /// Drops every list and gives the memory back.
    void clear();

private:
    struct Slot {
        EntryId* postings;  ///< a block of `malloc`; null in a free slot
        std::uint32_t count;
        Trigram trigram;
    };
    static_assert(sizeof(Slot) == 16);

    void append(Trigram trigram, EntryId id);
    std::size_t slotIndex(Trigram trigram) const;
    void growTable();

    PodVector<Slot> slots_;  ///< a power of two of them, at most half in use
    std::size_t usedSlots_ = 0;
    std::size_t postingCount_ = 0;
};

}  // namespace dovra
