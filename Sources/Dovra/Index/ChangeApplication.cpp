#include "Index/ChangeApplication.hpp"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <variant>

#include "Base/IsAtOrBelow.hpp"
#include "Base/JoinPath.hpp"
#include "Index/FolderMerge.hpp"
#include "Index/StampClock.hpp"
#include "Platform/Volume.hpp"

// Why looking again at the named folders is enough, though events come late, merged and in no order: a change
// was made before its event was read, and the folder is listed after that. So the last listing of a folder
// comes after its last change, wherever the folder was when the event was read. If it has moved since, there
// is one more event, which names the new place with all below it. And a listing that comes too early, between
// two changes, does no harm, because the second change has an event of its own.

namespace dovra {

namespace {

/// A moved folder with a longer path is walked anew instead of compared folder by folder, which would open
/// each by its whole path.
constexpr std::size_t maxComparedPathBytes = 4096;

std::string parentPath(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return std::string(slash == 0 ? "/" : path.substr(0, slash));
}

std::vector<std::string> rootPaths(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    std::vector<std::string> paths;
    for (const DirIndex root : index.directoriesLocked().roots())
        paths.push_back(index.directoriesLocked().path(root));
    return paths;
}

/// The folder's position when the index holds its contents.
std::optional<DirIndex> listedFolder(const FileIndex& index, std::string_view path) {
    const ReadGuard guard(index.rwlock);
    const auto folder = index.directoriesLocked().find(path);
    return folder && index.entriesByDirLocked().contains(*folder) ? folder : std::nullopt;
}

/// Attributes of folders, to be taken over into the folders' own entries in the lists of their parents. One
/// pass over a parent serves all its children: looking for each child alone would make changes in a hundred
/// thousand neighbouring folders quadratic.
class OwnEntries {
public:
    void add(DirIndex folder, const RawDirent& attributes) { attributes_[folder] = attributes; }

    void storeIn(FileIndex& index) const {
        const auto changes = changesIn(index);
        if (changes.empty()) return;
        const WriteGuard guard(index.rwlock);
        for (const auto& [id, attributes] : changes)
            index.refreshEntryLocked(id, attributes);
        index.raiseGenerationLocked();
    }

private:
    using ByName = std::unordered_map<std::string_view, const RawDirent*>;
    using Changes = std::vector<std::pair<EntryId, RawDirent>>;

    Changes changesIn(const FileIndex& index) const {
        const ReadGuard guard(index.rwlock);
        const DirectoryTable& directories = index.directoriesLocked();
        std::unordered_map<DirIndex, ByName> byParent;
        for (const auto& [folder, attributes] : attributes_) {
            if (const auto parent = directories.parent(folder))
                byParent[*parent].emplace(directories.name(folder), &attributes);
        }
        Changes changes;
        for (const auto& [parent, children] : byParent) {
            for (const EntryId id : index.entriesByDirLocked().ids(parent))
                addChange(index, id, children, changes);
        }
        return changes;
    }

    static void addChange(const FileIndex& index, EntryId id, const ByName& children, Changes& changes) {
        const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
        if (!entry.isFolder() || entry.isTombstone()) return;
        const auto child = children.find(index.nameLocked(entry));
        if (child == children.end()) return;
        const RawDirent& now = *child->second;
        if (entry.modTime != now.modTime || entry.crTime != now.crTime) changes.emplace_back(id, now);
    }

    std::unordered_map<DirIndex, RawDirent> attributes_;
};

/// One served root on the disk, and what a scan would enter below it.
class ServedTree {
public:
    ServedTree(std::string path, const CrawlOptions& options)
        : path_(std::move(path)), folder_(OpenFolder::tryOpen(path_)) {
        if (options.restrictToStartupVolume) allowedDevices_ = startupVolumeDevices();
    }

    const std::string& path() const { return path_; }

    std::variant<OpenFolder, OpenFolder::Refusal> open(const std::string& path) const {
        if (const auto* refusal = std::get_if<OpenFolder::Refusal>(&folder_)) return *refusal;
        return std::get<OpenFolder>(folder_).tryOpenBelow(below(path));
    }

    bool isSkipped(std::string_view path) const { return isBelowSkippedFolder(path, path_); }

    /// Whether a scan enters the folder; asked of one that was entered once, and may have been mounted over.
    bool isStillEntered(const std::string& path, const OpenFolder& folder) const {
        if (path == path_) return true;
        if (!isAllowed(folder.device())) return false;
        if (!folder.isOnKernelFileSystem()) return true;
        const auto parent = open(parentPath(path));
        const auto* opened = std::get_if<OpenFolder>(&parent);
        return opened == nullptr || opened->device() == folder.device();
    }

    /// Absent when the child cannot be opened now, but may be later.
    std::optional<bool> entersChild(const std::string& path, const OpenFolder& folder,
                                    const std::string& name) const {
        if (isSkipped(joinPath(path, name))) return false;
        const auto opened = folder.tryOpenBelow(name);
        if (const auto* refusal = std::get_if<OpenFolder::Refusal>(&opened))
            return *refusal == OpenFolder::Refusal::failed ? std::nullopt : std::optional(false);
        const auto& child = std::get<OpenFolder>(opened);
        if (!isAllowed(child.device())) return false;
        return child.device() == folder.device() || !child.isOnKernelFileSystem();
    }

private:
    std::string below(const std::string& path) const {
        return path.substr(std::min(path.size(), path_ == "/" ? 1 : path_.size() + 1));
    }

    bool isAllowed(DeviceId device) const {
        return allowedDevices_.empty() || std::ranges::find(allowedDevices_, device) != allowedDevices_.end();
    }

    std::string path_;
    std::variant<OpenFolder, OpenFolder::Refusal> folder_;
    std::vector<DeviceId> allowedDevices_;
};

class Application {
public:
    Application(FileIndex& index, const CrawlOptions& options) : index_(index), options_(options) {
        for (std::string& path : rootPaths(index))
            trees_.emplace_back(std::move(path), options);
    }

    std::vector<std::string> run(const ChangeBatch& changes) {
        // In order of their bytes, parents come before what lies below them.
        std::map<std::string_view, bool> places;
        for (const std::string& path : changes.paths)
            places.emplace(path, false);
        for (const std::string& path : changes.files)
            places.emplace(path, false);
        for (const std::string& path : changes.subtrees)
            places[path] = true;
        for (const auto& [path, withSubtree] : places)
            applyAt(path, withSubtree);
        walkAppeared();
        ownEntries_.storeIn(index_);
        return std::move(unread_);
    }

private:
    std::vector<ServedTree>::const_iterator treeOf(std::string_view path) const {
        return std::ranges::find_if(trees_,
                                    [&](const ServedTree& each) { return isAtOrBelow(path, each.path()); });
    }

    void applyAt(std::string_view path, bool withSubtree) {
        const auto tree = treeOf(path);
        if (tree == trees_.end() || tree->isSkipped(path)) return;
        std::vector<std::string> pending = {std::string(path)};
        while (!pending.empty() && !options_.stop.stop_requested()) {
            const std::string next = std::move(pending.back());
            pending.pop_back();
            reconcileNearest(*tree, next, withSubtree ? &pending : nullptr);
        }
    }

    /// Reconciles the folder at `path` or, where that is no folder that the index and the disk both have, the
    /// nearest folder above it that is: its listing tells what became of the path. With `deeper`, the listed
    /// child folders are added to it, unless it had to go above.
    void reconcileNearest(const ServedTree& tree, std::string path, std::vector<std::string>* deeper) {
        for (;;) {
            const auto folder = listedFolder(index_, path);
            if (folder || path == tree.path()) {
                auto opened = tree.open(path);
                if (auto* open = std::get_if<OpenFolder>(&opened)) {
                    reconcileDirectory(tree, path, folder, *open, deeper);
                    return;
                }
                if (cannotTell(std::get<OpenFolder::Refusal>(opened), path)) return;
            }
            if (path == tree.path()) break;
            path = parentPath(path);
            deeper = nullptr;
        }
        const WriteGuard guard(index_.rwlock);
        index_.tombstoneSubtreeLocked(tree.path());
        index_.raiseGenerationLocked();
    }

    /// Whether a folder that could not be opened may still be there.
    bool cannotTell(OpenFolder::Refusal refusal, const std::string& path) {
        if (refusal == OpenFolder::Refusal::failed) unread_.push_back(path);
        return refusal != OpenFolder::Refusal::missing;
    }

    void reconcileDirectory(const ServedTree& tree, const std::string& path, std::optional<DirIndex> known,
                            const OpenFolder& open, std::vector<std::string>* deeper) {
        const auto [done, isNew] = done_.try_emplace(path, deeper != nullptr);
        if (!isNew && (deeper == nullptr || done->second)) return;
        done->second = deeper != nullptr;
        if (!tree.isStillEntered(path, open)) {
            forget(*known);
            return;
        }
        const auto attributes = open.attributes();
        const FolderStamp stamp = clock_.trusted(open.stamp());
        DirectoryListing listing;
        if (!open.list(ListingDetail::attributes, listing)) {
            unread_.push_back(path);
            return;
        }
        const DirIndex folder = known ? *known : intern(path);
        if (attributes) ownEntries_.add(folder, *attributes);
        const MergedFolder merged = mergeListing(index_, folder, listing, stamp);
        for (const auto& [name, id] : merged.unlistedChildren) {
            const auto enters = tree.entersChild(path, open, name);
            if (!enters) {
                unread_.push_back(joinPath(path, name));
            } else if (*enters) {
                appeared_[joinPath(path, name)] = id;
            }
        }
        if (deeper != nullptr) goDeeper(path, merged.listedChildren, *deeper);
    }

    void goDeeper(const std::string& path, const std::vector<MergedFolder::Child>& children,
                  std::vector<std::string>& deeper) {
        for (const auto& [name, id] : children) {
            std::string child = joinPath(path, name);
            if (child.size() <= maxComparedPathBytes) {
                deeper.push_back(std::move(child));
            } else if (const auto folder = listedFolder(index_, child)) {
                forget(*folder);
                appeared_[std::move(child)] = id;
            }
        }
    }

    /// Walks the folders that appeared, but for those that have gone again meanwhile with a folder above.
    void walkAppeared() {
        std::vector<std::string> paths;
        {
            const ReadGuard guard(index_.rwlock);
            for (const auto& [path, id] : appeared_) {
                if (!index_.entriesLocked()[static_cast<std::size_t>(id)].isTombstone())
                    paths.push_back(path);
            }
        }
        if (!paths.empty()) crawl(index_, paths, options_);
        if (options_.stop.stop_requested()) {
            std::ranges::move(paths, std::back_inserter(unread_));
        } else {
            for (const std::string& path : paths)
                keepIfNotWalked(path);
        }
    }

    /// Has a folder that is there, but was not listed, handed in again.
    void keepIfNotWalked(const std::string& path) {
        if (listedFolder(index_, path)) return;
        const auto opened = treeOf(path)->open(path);
        const auto* refusal = std::get_if<OpenFolder::Refusal>(&opened);
        if (refusal == nullptr || *refusal == OpenFolder::Refusal::failed) unread_.push_back(path);
    }

    void forget(DirIndex folder) {
        const WriteGuard guard(index_.rwlock);
        index_.forgetContentsLocked(folder);
        index_.raiseGenerationLocked();
    }

    DirIndex intern(std::string_view path) {
        const WriteGuard guard(index_.rwlock);
        return index_.internDirLocked(path);
    }

    FileIndex& index_;
    const CrawlOptions& options_;
    std::vector<ServedTree> trees_;
    std::unordered_map<std::string, bool> done_;  ///< reconciled folders, and whether with all below them
    std::map<std::string, EntryId> appeared_;     ///< folders to be walked, and their own entries
    std::vector<std::string> unread_;
    OwnEntries ownEntries_;
    const StampClock clock_;
};

}  // namespace

AppliedChanges applyChanges(FileIndex& index, const ChangeBatch& changes, const CrawlOptions& options) {
    return {.unread = {.paths = Application(index, options).run(changes)}, .changed = {}};
}

}  // namespace dovra
