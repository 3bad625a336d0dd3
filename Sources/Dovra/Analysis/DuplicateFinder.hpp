#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "Analysis/Hashing.hpp"
#include "Index/FileRow.hpp"

namespace dovra {

/// A set of at least two files with equal contents.
struct DuplicateGroup {
    std::uint64_t sizeBytes = 0;  ///< of each file
    std::vector<FileRow> rows;    ///< by ascending identifier
};

/// The steps of the search for equal files: files are grouped by size, which costs nothing, and then told
/// apart by digests of ever more of their bytes. No step touches an index or a file.
struct DuplicateFinder {
    /// A file that may have an equal.
    struct Item {
        EntryId id;
        std::uint64_t size;
    };

    /// A range of bytes of one file.
    struct DigestRequest {
        EntryId id;
        std::uint64_t offset;
        std::int64_t length;
        bool operator==(const DigestRequest&) const = default;
    };

    using IdGroup = std::vector<EntryId>;

    struct SizeGroup {
        std::uint64_t size;
        IdGroup ids;  ///< ascending
    };

    /// One for each identifier or request, in their order; absent where the file could not be read.
    using Digests = std::vector<std::optional<Digest>>;
    /// Called with one range of files that agree so far. The digests need only tell those files apart.
    using DigestFunction = std::function<Digests(std::span<const DigestRequest>)>;

    /// The bytes at a file's start, and at its end, that are compared before those between.
    static constexpr std::uint64_t edgeBytes = 4096;
    /// The bytes of the middle that are compared before files that differ there are dropped.
    static constexpr std::uint64_t sliceBytes = std::uint64_t{4} * 1024 * 1024;

    /// The sizes that at least two items share, largest first. Empty files are left out.
    static std::vector<SizeGroup> sizeGroups(std::span<const Item> items);

    /// The groups of at least two identifiers with the same digest, in the order of their first members, each
    /// ascending. Identifiers without a digest are dropped. `digests[i]` belongs to `ids[i]`.
    static std::vector<IdGroup> partition(std::span<const EntryId> ids,
                                          std::span<const std::optional<Digest>> digests);

    /// The groups of equal files among files of one size; every byte has been compared. The first 4 KiB are
    /// compared, then the last, then 4 MiB slices of the middle. A file that differs from all others is not
    /// read further, and a lone file is not read at all.
    static std::vector<IdGroup> refine(std::uint64_t size, IdGroup ids, const DigestFunction& digests);

    /// The bytes that are freed when one file of each group is kept. More than 2^64 is fatal.
    static std::uint64_t reclaimableBytes(std::span<const DuplicateGroup> groups);
};

}  // namespace dovra
