#include "Query/SubsequenceScan.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>

#include "Query/ByteVector.hpp"
#include "Query/NameProbe.hpp"

// The signatures, 4 bytes a name, leave a few per cent of the names for a pattern of rare letters and a third
// for one of common letters. The remaining names lie far apart, and most of the time would be spent waiting
// for memory. So the remaining entries are gathered first, and each is prefetched before it is needed.
//
// In a name all positions of a pattern byte are found at once, as a bit mask; the lowest one behind the
// position of the previous byte is taken.

namespace dovra {

namespace {

/// Bytes of a name that are compared at once.
constexpr std::size_t chunkBytes = 32;
static_assert(chunkBytes <= NamePool::readableSlack);

/// Entries whose signatures are read before the remaining names.
constexpr EntryId entriesPerBlock = 1024;
constexpr std::size_t prefetchDistance = 16;

/// Bit i is set where byte i of the chunk matches.
std::uint32_t matchesInChunk(const std::uint8_t* bytes, BytePattern pattern) {
    const ByteVector vector(pattern);
    return ByteVector::bits(vector.matches(bytes)) | ByteVector::bits(vector.matches(bytes + 16)) << 16;
}

std::uint32_t lowestBits(std::size_t count) {
    return static_cast<std::uint32_t>((std::uint64_t{1} << std::min<std::size_t>(count, 32)) - 1);
}

/// The entries of a block whose signatures have all the required bits, with the places of their names.
struct Block {
    struct Name {
        const std::uint8_t* bytes = nullptr;
        std::size_t length = 0;
    };

    std::array<EntryId, entriesPerBlock> ids{};
    std::array<Name, entriesPerBlock> names{};
    std::size_t count = 0;

    void gather(std::span<const NameSignature> signatures, NameSignature required, EntryRange range) {
        count = 0;
        for (EntryId first = range.first; first < range.last; first += EntrySet::entriesPerWord) {
            for (std::uint64_t found = probeSignatures(within(signatures, {first, range.last}), required);
                 found != 0; found &= found - 1)
                ids[count++] = first + std::countr_zero(found);
        }
    }

    void locate(const FileIndex& index) {
        const FileEntry* entries = index.entriesLocked().data();
        const std::uint8_t* pool = index.namePoolLocked().bytes();
        for (std::size_t i = 0; i < count; ++i) {
            if (i + prefetchDistance < count) __builtin_prefetch(entries + ids[i + prefetchDistance]);
            const FileEntry& entry = entries[ids[i]];
            names[i] = {pool + entry.nameOffset, entry.nameLen};
            __builtin_prefetch(names[i].bytes);
            __builtin_prefetch(names[i].bytes + chunkBytes);
        }
    }
};

}  // namespace

Subsequence::Subsequence(std::string_view pattern, bool fold) : signature_(nameSignature(pattern)) {
    for (const char c : pattern)
        bytes_.push_back(BytePattern::of(c, fold));
}

bool Subsequence::standsIn(const std::uint8_t* name, std::size_t length) const {
    std::size_t next = 0;
    for (std::size_t at = 0; at < length && next < bytes_.size(); at += chunkBytes) {
        std::uint32_t allowed = lowestBits(length - at);
        for (; next < bytes_.size(); ++next) {
            const std::uint32_t found = matchesInChunk(name + at, bytes_[next]) & allowed;
            if (found == 0) break;
            allowed &= ~(found ^ (found - 1));  // only positions above the lowest one found
        }
    }
    return next == bytes_.size();
}

void scanSubsequences(const FileIndex& index, const Subsequence& pattern, EntryRange range, EntrySet& hits) {
    Block block;
    for (EntryId first = range.first; first < range.last; first += entriesPerBlock) {
        const EntryId last = range.last - first < entriesPerBlock ? range.last : first + entriesPerBlock;
        block.gather(index.signaturesLocked(), pattern.signature(), {first, last});
        block.locate(index);
        for (std::size_t i = 0; i < block.count; ++i) {
            if (pattern.standsIn(block.names[i].bytes, block.names[i].length)) hits.insert(block.ids[i]);
        }
    }
}

}  // namespace dovra
