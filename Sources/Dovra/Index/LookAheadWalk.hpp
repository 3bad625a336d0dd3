#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Index/FileEntry.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

struct WalkOptions {
    ListingDetail detail = ListingDetail::attributes;
    AttributeChoice needsAttributes = {};

    /// The devices that are entered. Empty for every device, except that a file system of the kernel's own is
    /// not entered from outside.
    std::vector<DeviceId> allowedDevices = {};

    /// Whether to enter the child folder with this full path; asked only for paths of at most
    /// `maxAskedPathBytes`. Called on any thread.
    std::function<bool(std::string_view fullPath)> entersChild = [](std::string_view) { return true; };
    static constexpr std::size_t maxAskedPathBytes = 512;

    /// Threads that list folders, the caller's included; at least 1. Where listings wait for the disk, two or
    /// more become up to four times as many.
    std::size_t threads = 1;

    /// A request to stop ends the walk at once, after one more system call on each thread.
    std::stop_token stop = {};
};

/// A folder that the walk has reached and could list.
struct WalkedFolder {
    std::optional<DirIndex> parent;  ///< the result of its parent's visit; absent for a root
    std::string_view name;           ///< its own name; for a root the path as it was given
    const FolderListing& listing;
    FolderStamp stamp = {};  ///< taken before the listing; unknown when it proves nothing
};

/// Walks the trees below `roots` depth first, the last root and the last-listed child first. Calls `visit`
/// for each folder that could be listed, on the calling thread, in the same order for any number of threads.
/// Links are not followed, except by a root itself. Folders that cannot be opened are skipped.
void lookAheadWalk(const std::vector<std::string>& roots, const WalkOptions& options,
                   const std::function<DirIndex(const WalkedFolder&)>& visit);

}  // namespace dovra
