#pragma once

#include <string>
#include <vector>

#include "Index/Crawl.hpp"
#include "Index/FileIndex.hpp"
#include "Platform/ChangeBatch.hpp"

namespace dovra {

struct AppliedChanges {
    /// Folders that could not be looked at, to be handed in again with the next changes.
    ChangeBatch unread;
    /// Folders whose list of entries turned out to be another one.
    std::vector<std::string> changed;
};

/// Brings the index up to date with what the disk holds at the changed places: lists the folders concerned
/// again, merges the listings, and walks folders that appeared. What is not below a folder where a scan of
/// this index began, and what lies below folders that a scan does not enter, changes nothing. Unchanged
/// entries keep their identifiers.
///
/// `options` are those of the scan. The disk is read without the lock; the write lock is held while one
/// folder's differences are stored. So nothing else may change the index during the call.
///
/// Only what is known to be gone is deleted. A folder that this user may not read any more keeps its
/// contents; folders that could not be read for any other reason keep them too and are returned, to be handed
/// in again with the next changes. A request to stop ends it soon: what it has not come to stays as it was,
/// with stamps that tell so; folders that appeared and may not have been walked to their end, which no stamp
/// would tell, are returned. The generation rises only if something changed. The batch's `mustRescan` is the
/// caller's to act on.
AppliedChanges applyChanges(FileIndex& index, const ChangeBatch& changes, const CrawlOptions& options = {});

}  // namespace dovra
