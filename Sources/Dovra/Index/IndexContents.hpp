#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "Base/PodVector.hpp"
#include "Index/DirectoryTable.hpp"
#include "Index/EntryLists.hpp"
#include "Index/FileEntry.hpp"
#include "Index/NamePool.hpp"
#include "Index/NameSignature.hpp"
#include "Index/TrigramIndex.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

/// All that an index holds. Made or filled elsewhere it becomes an index's contents at once
/// (`FileIndex::replaceContents`). Whoever makes it keeps the invariants of `FileIndex`.
struct IndexContents {
    DirectoryTable directories;
    PodVector<FileEntry> entries;
    EntryLists entriesByDir;
    NamePool names;
    PodVector<NameSignature> signatures;
    PodVector<FolderStamp> stamps;  ///< by folder; the last ones may be missing
    std::int64_t tombstones = 0;
    /// The entries that were refreshed last, by a hash of folder and name; the others are 0.
    std::array<EntryId, 1024> refreshed = {};
    std::shared_ptr<TrigramIndex> trigram;  ///< of all the names; null where none is wanted
};

}  // namespace dovra
