#include "Platform/Linux/InotifyWatch.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include "Base/PathText.hpp"
#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

namespace {

/// Without IN_MASK_ADD, the kernel clears the events of a folder that is watched already before it sets them
/// anew, and loses what happens in between.
constexpr unsigned inotifyEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY |
                                   IN_CLOSE_WRITE | IN_ATTRIB | IN_ONLYDIR | IN_MASK_ADD;

/// The deepest folders of a walk that stay open; higher ones are opened again from below.
constexpr std::size_t maxOpenLevels = 32;

Descriptor openInotifyQueue() {
    return Descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
}

/// Opens a child folder. Fails with EXDEV at a mount, which is a tree of its own.
std::optional<OpenFolder> openChild(const OpenFolder& parent, const std::string& name) {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    Descriptor folder = openLongPath(parent.descriptor(), name, flags, RESOLVE_NO_XDEV | RESOLVE_NO_SYMLINKS);
    return folder ? std::optional(OpenFolder(std::move(folder))) : std::nullopt;
}

/// Whether the folder's link count proves that it holds no folders, so that it need not be listed. Only some
/// file systems count so.
bool holdsNoFolders(const OpenFolder& folder) {
    struct stat status {};
    struct statfs system {};
    return ::fstat(folder.descriptor(), &status) == 0 && status.st_nlink == 2 &&
           ::fstatfs(folder.descriptor(), &system) == 0 &&
           (system.f_type == EXT4_SUPER_MAGIC || system.f_type == XFS_SUPER_MAGIC ||
            system.f_type == F2FS_SUPER_MAGIC || system.f_type == TMPFS_MAGIC);
}

/// Whether an error proves that there is no folder of this tree, so that no change in it can be missed.
bool tellsThatNoneIsThere(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP || error == EXDEV || error == ENAMETOOLONG;
}

}  // namespace

std::optional<InotifyWatch> InotifyWatch::open(Rules rules) {
    Descriptor queue = openInotifyQueue();
    if (!queue) return std::nullopt;
    return InotifyWatch(std::move(queue), std::move(rules));
}

void InotifyWatch::addTree(const std::string& path) {
    trees_[path] = none;
    reachTop(path);
    processOutstanding();
}

void InotifyWatch::removeTree(const std::string& path) {
    if (const auto tree = trees_.extract(path)) forget(tree.mapped());
    missing_.erase(path);
    unwatched_.erase({none, path});
}

void InotifyWatch::lookAt(const std::string& path) {
    const std::string_view parent = parentPath(path);
    for (const auto& [top, number] : trees_) {
        if (!isAtOrBelow(parent, top)) continue;
        const std::size_t below = std::min(parent.size(), top == "/" ? 1 : top.size() + 1);
        const WatchNumber folder = tree_.find(number, parent.substr(below));
        if (tree_.contains(folder)) outstanding_[folder].names.emplace(lastName(path));
    }
}

void InotifyWatch::drain() {
    readQueue();
    const bool restartsAtOnce = mustRestart_;
    if (restartsAtOnce) restart();
    reachTops();
    processOutstanding();
    // A restart within this drain gives a flush the later changes too. In a lasting shortage the next drain
    // tries again.
    if (mustRestart_ && !restartsAtOnce) {
        restart();
        processOutstanding();
    }
    // A folder without a new place has left the tree. If it is only on its way, it is watched anew on
    // arrival.
    for (const WatchNumber folder : tree_.detached())
        forget(folder);
}

void InotifyWatch::readQueue() {
    alignas(inotify_event) char buffer[64 * 1024];
    // Only the present queue is read: a program that writes without pause would keep us here.
    int queued = 0;
    if (::ioctl(queue_.number(), FIONREAD, &queued) != 0) return;
    while (queued > 0) {
        const ssize_t length = ::read(queue_.number(), buffer, sizeof buffer);
        if (length < 0 && errno == EINTR) continue;
        if (length <= 0) return;
        queued -= static_cast<int>(length);
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
            take(event->wd, event->mask, event->len == 0 ? "" : event->name);
            offset += static_cast<ssize_t>(sizeof *event + event->len);
        }
    }
}

void InotifyWatch::take(WatchNumber number, unsigned mask, std::string_view name) {
    if ((mask & IN_Q_OVERFLOW) != 0) mustRestart_ = true;
    if (!tree_.contains(number)) return;
    if ((mask & IN_IGNORED) != 0) {
        erase(number);
        return;
    }
    if ((mask & IN_ISDIR) == 0 && !name.empty()) {
        changed_[number].addFile(name);
        return;
    }
    changed_[number].addWhole();
    // A change of rights may have made the folder, or the folders in it, readable.
    if (name.empty()) {
        if ((mask & IN_ATTRIB) != 0) outstanding_[number].all = true;
        return;
    }
    if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0) {
        unwatched_.erase({number, std::string(name)});
        tree_.detachAt(number, std::string(name));
    }
    if ((mask & (IN_CREATE | IN_MOVED_TO | IN_ATTRIB)) != 0) outstanding_[number].names.emplace(name);
}

/// Begins anew with a new queue: after lost events the known tree may be wrong.
void InotifyWatch::restart() {
    hasLost_ = true;
    Descriptor queue = openInotifyQueue();
    if (!queue) return;
    mustRestart_ = false;
    queue_ = std::move(queue);
    tree_ = {};
    outstanding_.clear();
    changed_.clear();
    unwatched_.clear();
    reachTops();
}

/// Opens a folder that should exist. A shortage leads to a restart.
std::optional<OpenFolder> InotifyWatch::openPath(const std::string& path) {
    auto folder = OpenFolder::open(path);
    if (!folder && isShortage(errno)) mustRestart_ = true;
    return folder;
}

/// Watches the folder at the path of a top, and all below it if it is another folder than before.
void InotifyWatch::reachTop(const std::string& path) {
    auto folder = openPath(path);
    const auto number = folder ? watch(*folder, {none, path}) : std::nullopt;
    if (!number) {
        missing_.insert(path);
        return;
    }
    WatchNumber& top = trees_[path];
    const bool isSame = top == *number && tree_.contains(top);
    if (missing_.erase(path) > 0 || !isSame) returned_.push_back(path);
    if (isSame) return;
    forget(top);
    top = *number;
    tree_.putTop(*number, path);
    Level level = levelOf(*number, path, false);
    if (!listInto(level.names, *folder)) outstanding_[*number].all = true;
    level.folder = std::move(folder);
    walk(std::move(level), path, false);
}

/// Checks whether the tops are still, or again, at their paths. Changes above them have no event, and changes
/// reported while a top could not be reached were not found.
void InotifyWatch::reachTops() {
    for (const auto& [path, number] : trees_) {
        if (rules_.stop.stop_requested()) return;
        reachTop(path);
    }
}

/// Looks at all outstanding names. A folder can be found only when the folders above it are in their places
/// again. So the rest is tried again as long as any folder was put to a new place.
void InotifyWatch::processOutstanding() {
    do {
        hasMoved_ = false;
        raiseDeep();
        for (const auto& [folder, names] : std::exchange(outstanding_, {})) {
            if (rules_.stop.stop_requested()) return;
            if (tree_.contains(folder) && !lookInto(folder, names)) postpone(folder, names);
        }
    } while (hasMoved_ && !outstanding_.empty());
}

/// Replaces each outstanding folder that is too deep to be opened by its path by the nearest folder above
/// that is not.
void InotifyWatch::raiseDeep() {
    std::set<WatchNumber> above;
    std::erase_if(outstanding_, [&](const auto& each) {
        const auto place = tree_.placeOf(each.first);
        const bool isDeep = place && place->nearest != each.first;
        if (isDeep) above.insert(place->nearest);
        return isDeep;
    });
    for (const WatchNumber folder : above)
        outstanding_[folder].allBelow = true;
}

/// False when the folder is not at its believed path; its names then stay outstanding.
bool InotifyWatch::lookInto(WatchNumber folder, const Outstanding& outstanding) {
    const auto place = tree_.placeOf(folder);
    if (!place || place->nearest != folder) return false;
    std::string path(place->path);
    auto opened = openPath(path);
    if (!opened || numberOf(*opened) != folder) return false;
    Level level = levelOf(folder, path, true);
    level.names.assign(outstanding.names.begin(), outstanding.names.end());
    const bool listsAll = outstanding.all || outstanding.allBelow;
    if (listsAll && !listInto(level.names, *opened)) return false;
    level.folder = std::move(opened);
    walk(std::move(level), std::move(path), outstanding.allBelow);
    return true;
}

InotifyWatch::Level InotifyWatch::levelOf(WatchNumber folder, const std::string& path, bool tells) {
    return {.number = folder, .folder = {}, .names = {}, .pathBytes = path.size(), .tells = tells};
}

/// Looks at the names in a folder and at all new folders below them, with `allBelow` also at the known ones.
/// At most a few folders are open at a time, at any depth.
void InotifyWatch::walk(Level top, std::string path, bool allBelow) {
    std::vector<Level> levels;
    levels.push_back(std::move(top));
    while (!levels.empty() && !rules_.stop.stop_requested()) {
        Level& level = levels.back();
        path.resize(level.pathBytes);
        if (level.names.empty()) {
            ascend(levels);
            continue;
        }
        const std::string name = std::move(level.names.back());
        level.names.pop_back();
        // A path that is too long is not continued.
        if (path.size() <= FolderTree::maxPathBytes) path = joinPath(path, name);
        auto below = visit(level, name, path, allBelow);
        if (!below) continue;
        if (levels.size() > maxOpenLevels) levels[levels.size() - maxOpenLevels].folder.reset();
        levels.push_back(*std::move(below));
    }
}

/// Leaves the deepest level for the one above.
void InotifyWatch::ascend(std::vector<Level>& levels) {
    const Level done = std::move(levels.back());
    levels.pop_back();
    if (levels.empty() || levels.back().folder) return;
    levels.back().folder = openChild(*done.folder, "..");
    if (levels.back().folder && numberOf(*levels.back().folder) == levels.back().number) return;
    // A folder on the way up was moved, and its event is yet to come.
    for (Level& level : levels)
        postpone(level.number, {.names = {level.names.begin(), level.names.end()}});
    levels.clear();
}

/// Watches the folder at a name, if there is one. Returns it when the folders in it are to be looked at too.
std::optional<InotifyWatch::Level> InotifyWatch::visit(const Level& parent, const std::string& name,
                                                       const std::string& path, bool allBelow) {
    if (path.size() <= FolderTree::maxPathBytes && !rules_.enters(path)) return std::nullopt;
    const Place place{parent.number, name};
    auto folder = openChild(*parent.folder, name);
    if (!folder) {
        noteFailure(errno, place);
        return std::nullopt;
    }
    const bool wasUnwatched = unwatched_.contains(place);
    const auto number = watch(*folder, place);
    if (!number) return std::nullopt;
    const bool isNew = !tree_.contains(*number);
    // The folder went from above the parent to below it, and the parent's own event is yet to come.
    if (!isNew && !tree_.isAt(*number, parent.number, name) && tree_.isBelow(parent.number, *number)) {
        postpone(parent.number, {.names = {name}});
        return std::nullopt;
    }
    const bool arrives = tree_.put(*number, parent.number, name) || wasUnwatched;
    hasMoved_ = hasMoved_ || arrives;
    // Changes in it before it was watched, or before its place was known, have not been reported.
    if (arrives && parent.tells) changed_[parent.number].addArrival(name);
    if (!isNew && !wasUnwatched && !allBelow) return std::nullopt;
    Level below = levelOf(*number, path, parent.tells && !arrives);
    if (!listInto(below.names, *folder)) outstanding_[*number].all = true;
    if (below.names.empty()) return std::nullopt;
    below.folder = std::move(folder);
    return below;
}

/// Adds the names of all folders in a folder. False when some may be missing.
bool InotifyWatch::listInto(std::vector<std::string>& names, const OpenFolder& folder) const {
    if (holdsNoFolders(folder)) return true;
    thread_local FolderListing listing;
    listing.clear();
    folder.rewind();
    const bool isWhole = folder.list(ListingDetail::namesAndTypes, listing, rules_.stop);
    for (std::size_t i = 0; i < listing.count(); ++i) {
        if (listing[i].isDir) names.emplace_back(listing[i].name);
    }
    return isWhole;
}

/// The number of the folder's watch; none when it has none.
InotifyWatch::WatchNumber InotifyWatch::numberOf(const OpenFolder& folder) {
    const std::string path = fmt::format("/proc/self/fd/{}", folder.descriptor());
    const WatchNumber number = ::inotify_add_watch(queue_.number(), path.c_str(), inotifyEvents);
    if (number < 0 || tree_.contains(number)) return number;
    ::inotify_rm_watch(queue_.number(), number);
    return none;
}

std::optional<InotifyWatch::WatchNumber> InotifyWatch::watch(const OpenFolder& folder, const Place& place) {
    const std::string path = fmt::format("/proc/self/fd/{}", folder.descriptor());
    const WatchNumber number = ::inotify_add_watch(queue_.number(), path.c_str(), inotifyEvents);
    const bool isTooMany = number >= 0 && !tree_.contains(number) && tree_.count() >= rules_.maxWatches;
    if (isTooMany) {
        ::inotify_rm_watch(queue_.number(), number);
        errno = ENOSPC;
    } else if (number >= 0) {
        unwatched_.erase(place);
        return number;
    }
    noteFailure(errno, place);
    return std::nullopt;
}

/// A folder that cannot be watched for a lasting reason, such as a failing disk, is left to polling.
void InotifyWatch::noteFailure(int error, const Place& place) {
    if (error == ENOSPC || error == ENOMEM) {
        unwatched_[place] = Obstacle::noWatch;
        if (!std::exchange(hasReportedLimit_, true)) rules_.reportLimit();
    } else if (isShortage(error)) {
        mustRestart_ = true;
    } else if (tellsThatNoneIsThere(error)) {
        unwatched_.erase(place);
    } else {
        unwatched_[place] = error == EACCES ? Obstacle::forbidden : Obstacle::noWatch;
    }
}

void InotifyWatch::postpone(WatchNumber folder, const Outstanding& outstanding) {
    Outstanding& later = outstanding_[folder];
    later.all = later.all || outstanding.all;
    later.allBelow = later.allBelow || outstanding.allBelow;
    later.names.insert(outstanding.names.begin(), outstanding.names.end());
}

/// Removes the watches of the folder and of all below it.
void InotifyWatch::forget(WatchNumber folder) {
    if (!tree_.contains(folder)) return;
    for (const WatchNumber each : tree_.withAllBelow(folder)) {
        ::inotify_rm_watch(queue_.number(), each);
        erase(each);
    }
}

void InotifyWatch::erase(WatchNumber folder) {
    tree_.remove(folder);
    outstanding_.erase(folder);
    changed_.erase(folder);
    const auto isElsewhere = [&](const auto& each) { return each.first.first != folder; };
    const auto first = unwatched_.lower_bound({folder, ""});
    unwatched_.erase(first, std::find_if(first, unwatched_.end(), isElsewhere));
}

void InotifyWatch::take(ChangeSet& changes) {
    if (std::exchange(hasLost_, false)) changes.loseTrack();
    for (const auto& [folder, changed] : changed_) {
        if (const auto place = tree_.placeOf(folder))
            changed.tell(std::string(place->path), place->nearest == folder, changes);
    }
    for (std::string& path : returned_)
        changes.addSubtree(std::move(path));
    changed_.clear();
    returned_.clear();
    tree_.forgetPlaces();
}

std::vector<std::string> InotifyWatch::unwatchedFolders() const {
    std::vector<std::string> paths;
    for (const auto& [place, obstacle] : unwatched_) {
        const auto& [parent, name] = place;
        if (obstacle != Obstacle::noWatch) continue;
        if (parent == none) {
            paths.push_back(name);
        } else if (const auto above = tree_.placeOf(parent)) {
            paths.push_back(above->nearest == parent ? joinPath(above->path, name)
                                                     : std::string(above->path));
        }
    }
    return paths;
}

std::size_t InotifyWatch::forbiddenCount() const {
    return static_cast<std::size_t>(std::ranges::count_if(unwatched_, [](const auto& each) {
        return each.first.first != none && each.second == Obstacle::forbidden;
    }));
}

}  // namespace dovra
