#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

struct CrawlOptions {
    /// Stay on the devices of the startup volume.
    bool restrictToStartupVolume = false;
    ListingDetail detail = ListingDetail::attributes;
    AttributeChoice needsAttributes = {};
    /// Threads that list folders, the caller's included; 0 means one for each processor.
    std::size_t threads = 0;
    /// A request to stop ends the scan at once; the index keeps the folders stored until then.
    std::stop_token stop = {};
};

/// Takes the current number of entries, and whether the walk goes on. Called on the scanning thread, without
/// the index's lock: a front end goes on to its own queue.
using CrawlProgress = std::function<void(std::int64_t entryCount, bool stillScanning)>;

/// Walks the folder trees below `roots` (absolute paths without a slash at the end) and appends their entries
/// to the index. The write lock is taken once for each folder, so searches run in between. The result does
/// not depend on the number of threads. Folders that cannot be read are skipped; their own entries stay in
/// their parent's list. `progress` is called after every 5000 entries or more, and once at the end.
void crawl(FileIndex& index, const std::vector<std::string>& roots, const CrawlOptions& options,
           const CrawlProgress& progress = {});

/// Whether `path` is one of the folders that a scan from `root` does not enter, or lies in one.
bool isBelowSkippedFolder(std::string_view path, std::string_view root);

}  // namespace dovra
