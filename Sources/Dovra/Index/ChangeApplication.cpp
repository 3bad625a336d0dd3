#include "Index/ChangeApplication.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>

#include "Base/PathText.hpp"
#include "Index/Clocks.hpp"
#include "Index/FolderMerge.hpp"
#include "Platform/Paths.hpp"
#include "Platform/Volume.hpp"

// Looking again at the named folders is enough, though events come late, merged and in no order. A change is
// made before its event is read, and the folder is listed after that. So the last listing of a folder comes
// after its last change, wherever the folder was when the event was read. A folder that has moved since has
// one more event, which names the new place with all below it. A listing that comes too early, between two
// changes, does no harm: the second change has an event of its own.
//
// On the way down one folder is open at a time, and each child is opened relative to it. On the way back the
// folder above is opened as "..", and is checked to be the one that was left. So the cost of a tree is in
// proportion to its size at any depth, and no descriptor waits for the folders below.

namespace dovra {

namespace {

/// A smaller folder is listed whole, even for single names. That also finds changes that were missed.
constexpr std::size_t largeFolderEntries = 256;

/// The part of a folder's tree to look at.
struct Extent {
    bool isWhole = false;  ///< all its entries, not only `names`
    bool isDeep = false;   ///< and all entries below it
    std::vector<std::string_view> names = {};
};

std::map<std::string, Extent> extentsByFolder(const ChangeBatch& changes) {
    // In the order of bytes a parent comes before the paths below it.
    std::map<std::string, Extent> extents;
    for (const std::string& path : changes.paths)
        extents[path].isWhole = true;
    for (const std::string& path : changes.subtrees)
        extents[path].isWhole = extents[path].isDeep = true;
    for (const std::string& path : changes.files)
        extents[std::string(parentPath(path))].names.push_back(lastName(path));
    return extents;
}

std::vector<std::string> rootPaths(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    std::vector<std::string> paths;
    for (const DirIndex root : index.directoriesLocked().roots())
        paths.push_back(index.directoriesLocked().path(root));
    return paths;
}

bool isLarge(const FileIndex& index, DirIndex folder) {
    const ReadGuard guard(index.rwlock);
    return index.entriesByDirLocked().count(folder) >= largeFolderEntries;
}

/// One served root on the disk, and the rules by which a scan enters the folders below it.
class ServedTree {
public:
    ServedTree(std::string path, const CrawlOptions& options)
        : path_(std::move(path)), folder_(OpenFolder::tryOpen(path_)) {
        if (options.restrictToStartupVolume) allowedDevices_ = startupVolumeDevices();
    }

    const std::string& path() const { return path_; }

    std::variant<OpenFolder, OpenFolder::Refusal> open(const std::string& path) const {
        if (const auto* refusal = std::get_if<OpenFolder::Refusal>(&folder_)) return *refusal;
        const std::size_t start = path_ == "/" ? 1 : path_.size() + 1;
        return std::get<OpenFolder>(folder_).tryOpenBelow(path.substr(std::min(path.size(), start)));
    }

    bool isSkipped(std::string_view path) const { return isBelowSkippedFolder(path, path_); }

    /// The path by which `path` is reported: itself, or a folder above when it is too long. A root is never
    /// too long.
    std::string toldPath(std::string_view path) const {
        const std::size_t longest = std::max(maxPathBytes, path_.size());
        return std::string(path.size() <= longest ? path : path.substr(0, path.rfind('/', longest)));
    }

    /// Whether a scan enters a folder below the root. A folder that was entered before may have been mounted
    /// over since.
    bool enters(const OpenFolder& folder) const {
        const DeviceId device = folder.device();
        if (!allowedDevices_.empty() && std::ranges::find(allowedDevices_, device) == allowedDevices_.end())
            return false;
        return !folder.isOnKernelFileSystem() || folder.deviceBelow("..").value_or(device) == device;
    }

private:
    std::string path_;
    std::variant<OpenFolder, OpenFolder::Refusal> folder_;
    std::vector<DeviceId> allowedDevices_;
};

/// A folder on the way down, and its children that are still to be entered.
struct Level {
    DirIndex folder;
    FolderStamp stamp;
    std::size_t pathBytes;
    bool isNew;  ///< the index did not hold its contents
    std::vector<MergedFolder::Child> pending;
};

/// The way from the first folder of a traversal to the present one.
struct Traversal {
    const ServedTree& tree;
    std::string path;  ///< of the present folder
    bool isDeep;       ///< enters also the folders that the index holds
    std::vector<Level> levels = {};
    std::optional<OpenFolder> here = {};  ///< the last level, or one that was `levelsBelow` levels below it
    std::size_t levelsBelow = 0;
};

class ChangeApplier {
public:
    ChangeApplier(FileIndex& index, const CrawlOptions& options) : index_(index), options_(options) {
        for (std::string& path : rootPaths(index))
            trees_.emplace_back(std::move(path), options);
    }

    AppliedChanges run(const ChangeBatch& changes) {
        for (auto& [path, extent] : extentsByFolder(changes)) {
            if (options_.stop.stop_requested()) break;
            const auto tree = std::ranges::find_if(
                trees_, [&](const ServedTree& each) { return isAtOrBelow(path, each.path()); });
            if (tree != trees_.end() && !tree->isSkipped(path)) lookAt(*tree, path, std::move(extent));
        }
        storeOwnEntries();
        AppliedChanges applied{.unread = {}, .changed = {changed_.begin(), changed_.end()}};
        for (const auto& [path, isDeep] : unread_)
            (isDeep ? applied.unread.subtrees : applied.unread.paths).push_back(path);
        return applied;
    }

private:
    /// Looks at the nearest folder at or above `path` that the index and the disk both have. The listing of a
    /// folder above shows the fate of the path.
    void lookAt(const ServedTree& tree, std::string path, Extent extent) {
        for (;;) {
            const auto folder = index_.listedFolder(path);
            const bool isRoot = path == tree.path();
            if (folder && done_.contains(*folder)) return;
            if (folder || isRoot) {
                auto opened = tree.open(path);
                if (auto* open = std::get_if<OpenFolder>(&opened)) {
                    traverse({.tree = tree, .path = path, .isDeep = extent.isDeep}, folder, std::move(*open),
                             extent);
                    return;
                }
                const bool isMissing = std::get<OpenFolder::Refusal>(opened) == OpenFolder::Refusal::missing;
                if (isRoot || !isMissing) {
                    handIn(tree, path, extent.isDeep || isMissing);
                    return;
                }
            }
            path = parentPath(path);
            extent = {.isWhole = true};
        }
    }

    void traverse(Traversal way, std::optional<DirIndex> known, OpenFolder open, const Extent& extent) {
        if (way.path != way.tree.path() && !way.tree.enters(open)) {
            forget(way, *known, open);
            return;
        }
        look(way, known, std::move(open), extent);
        while (!way.levels.empty()) {
            if (way.levels.back().pending.empty()) {
                way.levels.pop_back();
                ++way.levelsBelow;
            } else {
                enterNext(way);
            }
        }
    }

    /// Merges the present folder, and makes it a new level if it has children to enter.
    void look(Traversal& way, std::optional<DirIndex> known, OpenFolder open, const Extent& extent) {
        const FolderStamp stamp = open.stamp();
        const FolderStamp trusted = clock_.trusted(stamp);
        open.rewind();
        const auto attributes = open.attributes();
        FolderListing listing;
        const bool isOfNames =
            !extent.isWhole && known && isLarge(index_, *known) && listNames(open, extent.names, listing);
        if (!isOfNames && !open.list(ListingDetail::attributes, listing, options_.stop)) {
            if (!known || !options_.stop.stop_requested()) handIn(way.tree, way.path, way.isDeep || !known);
            return;
        }
        const DirIndex folder = known ? *known : intern(way);
        MergedFolder merged = isOfNames ? mergeNames(index_, folder, listing, extent.names)
                                        : mergeListing(index_, folder, listing, trusted);
        if (!isOfNames) done_.insert(folder);
        if (const auto* now = std::get_if<RawDirent>(&attributes)) ownEntries_[folder] = *now;
        const bool isBelowNew = !way.levels.empty() && way.levels.back().isNew;
        if (merged.isChanged && !isBelowNew) changed_.insert(way.tree.toldPath(way.path));
        if (!way.isDeep) std::erase_if(merged.children, [](const auto& child) { return child.contents; });
        if (merged.children.empty()) return;
        way.levels.push_back({folder, stamp, way.path.size(), !known, std::move(merged.children)});
        way.here = std::move(open);
        way.levelsBelow = 0;
    }

    /// Lists the names that exist, with their attributes. False when the whole folder has to be listed.
    static bool listNames(const OpenFolder& folder, std::span<const std::string_view> names,
                          FolderListing& listing) {
        FolderListing found;
        for (const std::string_view name : names) {
            auto asked = folder.attributes(std::string(name));
            if (auto* attributes = std::get_if<RawDirent>(&asked)) {
                attributes->name = name;
                found.add(*attributes);
            } else if (std::get<OpenFolder::Refusal>(asked) != OpenFolder::Refusal::missing) {
                return false;
            }
        }
        listing = std::move(found);
        return true;
    }

    void enterNext(Traversal& way) {
        Level& level = way.levels.back();
        way.path.resize(level.pathBytes);
        if (!options_.stop.stop_requested() && !comeBack(way)) {
            handIn(way.tree, way.path, true);
            level.pending.clear();
            return;
        }
        const auto [name, known] = std::move(level.pending.back());
        level.pending.pop_back();
        if (way.path != "/") way.path += '/';
        way.path += name;
        if (options_.stop.stop_requested()) {
            if (!known) handIn(way.tree, way.path, true);
            return;
        }
        if (way.tree.isSkipped(way.path) || (known && done_.contains(*known))) return;
        auto opened = way.here->tryOpenBelow(name);
        if (const auto* refusal = std::get_if<OpenFolder::Refusal>(&opened)) {
            // A forbidden folder that was never listed stays so, as after a scan.
            const bool isForbidden = *refusal == OpenFolder::Refusal::forbidden;
            if (*refusal == OpenFolder::Refusal::failed || (isForbidden && known))
                handIn(way.tree, way.path, true);
        } else if (way.tree.enters(std::get<OpenFolder>(opened))) {
            look(way, known, std::get<OpenFolder>(std::move(opened)), {.isWhole = true});
        } else if (known) {
            forget(way, *known, std::get<OpenFolder>(opened));
        }
    }

    /// Goes back to the folder of the last level. False when it cannot be opened any more.
    static bool comeBack(Traversal& way) {
        if (way.levelsBelow == 0) return true;
        std::string above = "..";
        for (; way.levelsBelow > 1; --way.levelsBelow)
            above += "/..";
        way.levelsBelow = 0;
        auto opened = way.here->tryOpenBelow(above);
        const auto* found = std::get_if<OpenFolder>(&opened);
        const bool isSame = found != nullptr && found->stamp().isOfSameFolder(way.levels.back().stamp);
        // A folder on the way moved.
        if (!isSame) opened = way.tree.open(way.path);
        if (!std::holds_alternative<OpenFolder>(opened)) return false;
        way.here = std::get<OpenFolder>(std::move(opened));
        return true;
    }

    void handIn(const ServedTree& tree, const std::string& path, bool isDeep) {
        const std::string told = tree.toldPath(path);
        unread_[told] |= isDeep || told != path;
    }

    /// Drops the contents of a folder that a scan would not enter any more. Its own entry stays, with the
    /// attributes of the folder mounted there.
    void forget(const Traversal& way, DirIndex folder, const OpenFolder& open) {
        changed_.insert(way.tree.toldPath(way.path));
        std::optional<DirIndex> parent;
        {
            const WriteGuard guard(index_.rwlock);
            index_.forgetContentsLocked(folder);
            index_.raiseGenerationLocked();
            parent = index_.directoriesLocked().parent(folder);
        }
        auto attributes = open.attributes();
        auto* now = std::get_if<RawDirent>(&attributes);
        if (!parent || now == nullptr) return;
        const std::string_view name[] = {lastName(way.path)};
        now->name = name[0];
        FolderListing listing;
        listing.add(*now);
        mergeNames(index_, *parent, listing, name);
    }

    /// One pass over a parent serves all its children. A pass for each child would make changes in a hundred
    /// thousand neighbouring folders quadratic.
    void storeOwnEntries() {
        std::unordered_map<DirIndex, FolderListing> byParent;
        {
            const ReadGuard guard(index_.rwlock);
            const FolderTable& folders = index_.directoriesLocked();
            for (auto& [folder, attributes] : ownEntries_) {
                const auto parent = folders.parent(folder);
                // A folder deleted meanwhile has no entry.
                if (!parent || !index_.entriesByDirLocked().contains(folder)) continue;
                attributes.name = folders.name(folder);
                byParent[*parent].add(attributes);
            }
        }
        for (const auto& [parent, children] : byParent) {
            std::vector<std::string_view> names;
            for (std::size_t i = 0; i < children.count(); ++i)
                names.push_back(children[i].name);
            mergeNames(index_, parent, children, names);
        }
    }

    /// The position of the present folder.
    DirIndex intern(const Traversal& way) {
        const WriteGuard guard(index_.rwlock);
        if (way.levels.empty()) return index_.internDirLocked(way.path);
        return index_.internChildDirLocked(way.levels.back().folder, lastName(way.path));
    }

    FileIndex& index_;
    const CrawlOptions& options_;
    std::vector<ServedTree> trees_;
    /// Folders listed as a whole. A request for all below a folder is made at or above it and comes first, so
    /// it needs no note here.
    std::unordered_set<DirIndex> done_;
    std::map<std::string, bool> unread_;  ///< each path, and whether with all below it
    std::set<std::string> changed_;
    /// Attributes of listed folders, for their entries in the lists of their parents.
    std::unordered_map<DirIndex, RawDirent> ownEntries_;
    const StampClock clock_;
};

}  // namespace

AppliedChanges applyChanges(FileIndex& index, const ChangeBatch& changes, const CrawlOptions& options) {
    return ChangeApplier(index, options).run(changes);
}

}  // namespace dovra
