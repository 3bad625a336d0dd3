#pragma once

#include <cstdint>

#include "Base/PodVector.hpp"
#include "Index/DirectoryTable.hpp"
#include "Index/EntryLists.hpp"
#include "Index/FileEntry.hpp"
#include "Index/NamePool.hpp"
#include "Index/NameSignature.hpp"
#include "Platform/FolderStamp.hpp"

namespace dovra {

/// All that an index holds, made by someone else to become an index's contents at once. Whoever makes it
/// keeps the invariants of `FileIndex`.
struct IndexContents {
    DirectoryTable directories;
    PodVector<FileEntry> entries;
    EntryLists entriesByDir;
    NamePool names;
    PodVector<NameSignature> signatures;
    PodVector<FolderStamp> stamps;  ///< by folder; the last ones may be missing
    std::int64_t tombstones = 0;
};

}  // namespace dovra
