#include "Index/Crawl.hpp"

#include <algorithm>

#include "Base/Concurrency.hpp"
#include "Base/PathText.hpp"
#include "Index/LookAheadWalk.hpp"
#include "Platform/Volume.hpp"

namespace dovra {

namespace {

constexpr std::size_t entriesPerReport = 5000;

WalkOptions walkOptions(const CrawlOptions& options) {
    WalkOptions walk;
    walk.detail = options.detail;
    walk.needsAttributes = options.needsAttributes;
    walk.threads = options.threads == 0 ? activeProcessorCount() : options.threads;
    walk.stop = options.stop;
    walk.entersChild = [](std::string_view fullPath) { return !FileIndex::skipDirs.contains(fullPath); };
    if (options.restrictToStartupVolume) walk.allowedDevices = startupVolumeDevices();
    return walk;
}

DirIndex store(FileIndex& index, const WalkedFolder& folder) {
    const WriteGuard guard(index.rwlock);
    const DirIndex dirIndex = folder.parent ? index.internChildDirLocked(*folder.parent, folder.name)
                                            : index.internDirLocked(folder.name);
    index.storeListingLocked(dirIndex, folder.listing, folder.stamp);
    return dirIndex;
}

}  // namespace

void crawl(FileIndex& index, const std::vector<std::string>& roots, const CrawlOptions& options,
           const CrawlProgress& progress) {
    std::size_t unreported = 0;
    lookAheadWalk(roots, walkOptions(options), [&](const WalkedFolder& folder) {
        const DirIndex dirIndex = store(index, folder);
        unreported += folder.listing.count();
        if (progress && unreported >= entriesPerReport) {
            progress(index.itemCount(), true);
            unreported = 0;
        }
        return dirIndex;
    });
    if (progress) progress(index.itemCount(), false);
}

bool isBelowSkippedFolder(std::string_view path, std::string_view root) {
    return std::ranges::any_of(FileIndex::skipDirs, [&](const std::string& skipped) {
        return skipped != root && isAtOrBelow(skipped, root) && isAtOrBelow(path, skipped);
    });
}

}  // namespace dovra
