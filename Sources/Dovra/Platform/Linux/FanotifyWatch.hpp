#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Platform/ChangeFeed.hpp"
#include "Platform/Descriptor.hpp"
#include "Platform/Linux/FolderChanges.hpp"
#include "Platform/Linux/MountTable.hpp"

namespace dovra {

/// Changes anywhere on whole file systems, from one mark on each. Needs privileges.
///
/// The kernel names a folder by a handle that outlives renames and is given to no other folder. Handles are
/// kept as they come, each once, and turned into paths when the changes are taken: the folder is opened by
/// its handle through each mount of its file system, the kernel says the path, and what is there must prove
/// to be the same folder. For folders that were deleted, that lie outside the mount or below another mount,
/// it says paths that are wrong but look right.
///
/// For one thread.
class FanotifyWatch {
public:
    /// Tells of what lies at, above or below `root`, a path without links. Absent without the privileges, and
    /// where the kernel does not know it.
    static std::optional<FanotifyWatch> open(std::string root);

    int descriptor() const { return queue_.number(); }

    /// Watches the whole file system of the mount. False when it cannot be watched, or its folders cannot be
    /// found again by their handles.
    bool addMount(const Mount& mount);

    /// Whether the file system of the mount is another one than that which was watched there: what is watched
    /// goes with a file system that is unmounted, and the next one may look like it in all else.
    bool hasLost(const Mount& mount);

    /// Takes over what the kernel has queued.
    void drain();

    bool hasChanges() const { return hasLost_ || !folders_.empty(); }

    /// Tells the places of what changed, as far as they are seen through one of `mounts`, which were added.
    /// What cannot be found now for want of memory or descriptors is kept for the next time.
    void take(const std::vector<Mount>& mounts, ChangeSet& changes);

private:
    /// A folder's file system and its handle there, as bytes.
    using Key = std::string;

    class Finder;

    struct Changed {
        Key key;
        FolderChanges changes;
    };

    /// In the order of their first events: most folders come before those that are made in them.
    using Folders = std::deque<Changed>;

    FanotifyWatch(Descriptor queue, std::string root) : queue_(std::move(queue)), root_(std::move(root)) {}

    /// Of the mount's file system. Returns the number of the error, 0 for none.
    int changeMark(const Mount& mount, const Descriptor& place, unsigned change, std::uint64_t events);
    std::size_t takeEvents(const char* events, std::size_t length);
    void takeRecord(std::uint64_t mask, std::string_view record);
    FolderChanges& changesOf(std::string_view key);
    void takeThrough(const Mount& mount, const Folders& folders, ChangeSet& changes);
    void tell(const Mount& mount, const Changed& changed, Finder& finder, ChangeSet& changes);
    void keep(const Changed& changed);

    Descriptor queue_;
    std::string root_;
    std::unordered_map<int, std::string> systemIds_;  ///< by the mount's id, how events name its file system
    Folders folders_;
    std::unordered_map<std::string_view, Changed*> byKey_;
    std::unordered_set<Key> broken_;  ///< folders that could not be opened, for which all has been told
    std::size_t bytes_ = 0;
    bool hasLost_ = false;
};

}  // namespace dovra
