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
/// kept as they come, each once, and resolved to paths when the changes are taken: the folder is opened by
/// its handle through each mount of its file system, the kernel says the path, and the folder at that path
/// must prove to be the same. For folders that were deleted, and for folders outside the mount or below
/// another mount, the kernel says paths that are wrong but look right.
///
/// For one thread.
class FanotifyWatch {
public:
    /// Opens a watch that reports folders at, above or below `root`, a path without links. Absent without the
    /// privileges, and on a kernel without this mechanism.
    static std::optional<FanotifyWatch> open(std::string root);

    int descriptor() const { return queue_.number(); }

    /// Watches the whole file system of the mount. False when it cannot be watched, or when its folders
    /// cannot be opened by their handles.
    bool addMount(const Mount& mount);

    /// Whether the mount has another file system than the watched one. A mark goes with its file system, and
    /// the next one at the same place may look the same in all else.
    bool hasLost(const Mount& mount);

    /// Takes over the kernel's queued events.
    void drain();

    bool hasChanges() const { return hasLost_ || !folders_.empty(); }

    /// Adds the changed places that are visible through one of `mounts`, which were added. A folder that
    /// cannot be found now for lack of memory or descriptors is kept for the next time.
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

    /// Adds `events` to the mark of the mount's file system, or removes them. Returns the error number or 0.
    int changeMark(const Mount& mount, const Descriptor& place, unsigned change, std::uint64_t events);
    std::size_t takeEvents(const char* events, std::size_t length);
    void takeRecord(std::uint64_t mask, std::string_view record);
    FolderChanges& changesOf(std::string_view key);
    void takeThrough(const Mount& mount, const Folders& folders, ChangeSet& changes);
    void tell(const Mount& mount, const Changed& changed, Finder& finder, ChangeSet& changes);
    void keep(const Changed& changed);

    Descriptor queue_;
    std::string root_;
    std::unordered_map<int, std::string> systemIds_;  ///< the file system's name in events, by the mount's id
    Folders folders_;
    std::unordered_map<std::string_view, Changed*> byKey_;
    std::unordered_set<Key> broken_;  ///< unopenable folders, for which the whole mount was reported
    std::size_t bytes_ = 0;
    bool hasLost_ = false;
};

}  // namespace dovra
