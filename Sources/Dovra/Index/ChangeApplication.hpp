#pragma once

#include <string>
#include <vector>

#include "Index/Crawl.hpp"
#include "Index/FileIndex.hpp"
#include "Platform/ChangeFeed.hpp"

namespace dovra {

struct AppliedChanges {
    /// Places that could not be read, to be handed in again with the next changes.
    ChangeBatch unread;
    /// Folders in which names, kinds, or sizes and times of files changed; of a new tree the topmost.
    std::vector<std::string> changed;
};

/// Brings the index up to date at the changed places: lists their folders again, merges the listings, and
/// enters folders that appeared. Places outside the roots of the index, and below folders that a scan does
/// not enter, are ignored. Unchanged entries keep their identifiers.
///
/// `options` are those of the scan. The disk is read without the lock, on the calling thread and with no more
/// than four folders open at a time; the write lock is held only to store the differences of one folder.
/// Nothing else may change the index during the call.
///
/// Only entries known to be gone are deleted. A folder that this user may not read any more, or that cannot
/// be read for another reason, keeps its contents and is returned, to be handed in again with the next
/// changes. So is a missing root: its caller decides whether to forget its contents. A request to stop ends
/// the call soon. Folders not reached then keep their contents and their old stamps; new folders that were
/// not entered have no stamp and are returned. The generation rises only with a change. The caller acts on
/// the batch's `mustRescan`.
///
/// A place whose path is longer than `maxPathBytes` is reported as part of the nearest folder above with a
/// shorter path.
AppliedChanges applyChanges(FileIndex& index, const ChangeBatch& changes, const CrawlOptions& options = {});

}  // namespace dovra
