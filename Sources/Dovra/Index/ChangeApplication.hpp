#pragma once

#include <string>
#include <vector>

#include "Index/Crawl.hpp"
#include "Index/FileIndex.hpp"
#include "Platform/ChangeFeed.hpp"

namespace dovra {

struct AppliedChanges {
    /// What could not be looked at, to be handed in again with the next changes.
    ChangeBatch unread;
    /// Folders whose list turned out to be another one: names, kinds, or sizes and times of files. Of a new
    /// tree the topmost.
    std::vector<std::string> changed;
};

/// Brings the index up to date with what the disk holds at the changed places: lists the folders concerned
/// again, merges the listings, and goes down into folders that appeared. What is not below a folder where a
/// scan of this index began, and what lies below folders that a scan does not enter, changes nothing.
/// Unchanged entries keep their identifiers.
///
/// `options` are those of the scan. The disk is read without the lock, on the calling thread and with no more
/// than four folders open at a time; the write lock is held while one folder's differences are stored. So
/// nothing else may change the index during the call.
///
/// Only what is known to be gone is deleted. A folder that this user may not read any more, or that could not
/// be read for any other reason, keeps its contents and is returned, to be handed in again with the next
/// changes. So is a served root that is missing: whether its contents are to be forgotten is the caller's to
/// say. A request to stop ends the call soon: what it has not come to stays as it was, with stamps that tell
/// so; folders that appeared and were not gone into, which no stamp would tell, are returned. The generation
/// rises only if something changed. The batch's `mustRescan` is the caller's to act on.
///
/// What is too deep to be told by its own path is told as a part of the nearest folder above
/// (`maxPathBytes`).
AppliedChanges applyChanges(FileIndex& index, const ChangeBatch& changes, const CrawlOptions& options = {});

}  // namespace dovra
