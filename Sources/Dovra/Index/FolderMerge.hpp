#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The result of a merge, as far as the caller has to look further.
struct MergedFolder {
    struct Child {
        std::string name;
        std::optional<DirIndex> contents;  ///< absent when the index does not hold them
    };

    /// Child folders, no links.
    std::vector<Child> children;
    /// Whether names, kinds, or sizes and times of files changed. The times of a child folder do not count:
    /// they show changes inside it.
    bool isChanged = false;
};

/// Makes the index's list of `folder` equal to a new listing of the disk. An entry of the same name and kind
/// keeps its identifier and takes over size and times. An entry whose kind changed is deleted and appended
/// anew. An entry not listed any more is deleted, a folder with all below it. A name listed twice counts
/// once. The folder counts as listed from then on. Raises the generation, unless the index holds this list
/// and this stamp already: then nothing changes.
///
/// The difference is worked out under the read lock, so searches go on meanwhile, and applied under the write
/// lock. Nothing else may change the index during the call.
MergedFolder mergeListing(FileIndex& index, DirIndex folder, const FolderListing& listing,
                          const FolderStamp& stamp);

/// The same for `names` alone: `listing` holds those of them that exist. The folder keeps its other entries
/// and its stamp.
MergedFolder mergeNames(FileIndex& index, DirIndex folder, const FolderListing& listing,
                        std::span<const std::string_view> names);

/// Whether `mergeListing` would find any difference but the stamp, or a child folder whose contents the index
/// does not hold, which a scan may enter by now. Cheap when the listing is in the order of the index's list.
bool differsFromListingLocked(const FileIndex& index, DirIndex folder, const FolderListing& listing);

}  // namespace dovra
