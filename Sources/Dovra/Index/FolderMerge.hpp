#pragma once

#include <string>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// What a folder holds after a merge, as far as the caller has to look further.
struct MergedFolder {
    struct Child {
        std::string name;
        EntryId id;  ///< its entry in this folder
    };

    /// Child folders (not links) whose contents the index does not hold: those that appeared, and those that
    /// no scan could or would enter.
    std::vector<Child> unlistedChildren;
    /// Child folders whose contents the index holds.
    std::vector<Child> listedChildren;
};

/// Makes the index's list of `folder` equal to what was just listed on the disk. An entry of the same name
/// and kind keeps its identifier and takes over size and times; one whose kind changed is deleted and
/// appended anew; what is not listed any more is deleted, folders with all below them. Raises the generation,
/// unless the index holds this list and this stamp already: then nothing changes.
///
/// The difference is worked out under the read lock, so searches go on meanwhile, and applied under the write
/// lock. So nobody else may change the index during the call.
MergedFolder mergeListing(FileIndex& index, DirIndex folder, const DirectoryListing& listing,
                          const FolderStamp& stamp);

}  // namespace dovra
