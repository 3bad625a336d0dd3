#include "Platform/Linux/InotifyWatch.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "Base/JoinPath.hpp"
#include "Platform/DirectoryListing.hpp"
#include "Platform/Linux/FileErrors.hpp"
#include "Platform/Linux/LongPath.hpp"

namespace dovra {

namespace {

constexpr unsigned inotifyEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY |
                                   IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF | IN_ONLYDIR;

constexpr int nodeFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

std::string descriptorPath(int descriptor) {
    return fmt::format("/proc/self/fd/{}", descriptor);
}

Descriptor openInotifyQueue() {
    return Descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
}

/// Whether an error tells that a folder is not there or not ours, so that nothing can be missed in it.
bool isOrdinary(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP || error == EACCES || error == EPERM ||
           error == ENAMETOOLONG;
}

}  // namespace

std::optional<InotifyWatch> InotifyWatch::open(Rules rules) {
    Descriptor queue = openInotifyQueue();
    if (!queue) return std::nullopt;
    return InotifyWatch(std::move(queue), std::move(rules));
}

void InotifyWatch::addTree(const std::string& path) {
    std::erase(trees_, path);
    trees_.push_back(path);
    openTop(path);
    workOff();
}

bool InotifyWatch::openTop(const std::string& path) {
    const Descriptor folder(openLongPath(AT_FDCWD, path, nodeFlags));
    if (!folder) return false;
    const auto number = watch(folder.number(), {none, path});
    if (!number) return false;
    nodes_[*number].name = path;
    roots_[*number] = path;
    outstanding_[*number].all = true;
    fresh_.insert(*number);
    return true;
}

void InotifyWatch::removeTree(const std::string& path) {
    std::erase(trees_, path);
    for (const auto& [number, top] : std::map(roots_)) {
        if (top == path) forget({number});
    }
}

void InotifyWatch::lookAt(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string parent = path.substr(0, std::max<std::size_t>(slash, 1));
    for (const auto& [number, node] : nodes_) {
        if (pathOf(number) == parent) outstanding_[number].names.insert(path.substr(slash + 1));
    }
}

void InotifyWatch::drain() {
    std::swap(detachedBefore_, detached_);
    fresh_.clear();
    readQueue();
    const bool restartsAtOnce = mustRestart_;
    if (restartsAtOnce) restart();
    if (misses()) {
        for (const std::string& path : trees_) {
            const bool isWatched =
                std::ranges::any_of(roots_, [&](const auto& root) { return root.second == path; });
            if (!isWatched && openTop(path)) tops_.push_back(path);
        }
    }
    workOff();
    // Whoever flushes gets what follows too. In a lasting shortage, the next drain tries again.
    if (mustRestart_ && !restartsAtOnce) {
        restart();
        workOff();
    }
    // What was detached before this drain and came to no other place has left the tree.
    const std::set<WatchNumber> gone = std::exchange(detachedBefore_, {});
    forget({gone.begin(), gone.end()});
}

void InotifyWatch::readQueue() {
    alignas(inotify_event) char buffer[64 * 1024];
    // No more than what is queued now: who writes without pause would keep us here.
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
    if (!nodes_.contains(number)) return;
    if ((mask & IN_IGNORED) != 0) {
        erase(number);
        return;
    }
    if ((mask & (IN_MOVE_SELF | IN_DELETE_SELF)) != 0 && roots_.contains(number)) {
        forget({number});
        return;
    }
    dirty_.insert(number);
    if ((mask & IN_ISDIR) == 0) return;
    // A folder whose rights changed may have become readable, or what is in it.
    if (name.empty()) {
        if ((mask & IN_ATTRIB) != 0) outstanding_[number].all = true;
        return;
    }
    if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0) detachAt(number, std::string(name));
    if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0) arrivals_.emplace(number, name);
    if ((mask & (IN_CREATE | IN_MOVED_TO | IN_ATTRIB)) != 0) outstanding_[number].names.emplace(name);
}

/// Begins anew with a new queue: after lost events nothing that is known can be relied on.
void InotifyWatch::restart() {
    hasLost_ = true;
    Descriptor queue = openInotifyQueue();
    if (!queue) return;
    mustRestart_ = false;
    queue_ = std::move(queue);
    nodes_.clear();
    roots_.clear();
    outstanding_.clear();
    detached_.clear();
    detachedBefore_.clear();
    dirty_.clear();
    arrivals_.clear();
    unwatched_.clear();
    for (const std::string& path : trees_)
        openTop(path);
}

/// Looks at all that is outstanding, and at what comes to light by that. A folder can only be found when
/// those above it are in their places again, so what cannot be done is tried again as long as anything could.
void InotifyWatch::workOff() {
    std::map<WatchNumber, Outstanding> postponed;
    for (bool hasDoneAny = true; hasDoneAny; outstanding_ = std::exchange(postponed, {})) {
        hasDoneAny = false;
        while (!outstanding_.empty()) {
            if (rules_.stop.stop_requested()) return;
            auto next = outstanding_.extract(outstanding_.begin());
            if (!nodes_.contains(next.key())) continue;
            if (lookInto(next.key(), next.mapped())) {
                hasDoneAny = true;
            } else {
                postponed.insert(std::move(next));
            }
        }
    }
}

/// False when the folder is not where it was believed to be, so that nothing can be said yet.
bool InotifyWatch::lookInto(WatchNumber folder, Outstanding& outstanding) {
    const auto path = pathOf(folder);
    if (!path) return false;
    const Descriptor opened(openLongPath(AT_FDCWD, *path, nodeFlags));
    if (!opened) {
        if (isShortage(errno)) mustRestart_ = true;
        return false;
    }
    const WatchNumber found =
        ::inotify_add_watch(queue_.number(), descriptorPath(opened.number()).c_str(), inotifyEvents);
    if (found != folder) {
        if (found >= 0 && !nodes_.contains(found)) ::inotify_rm_watch(queue_.number(), found);
        return false;
    }
    if (outstanding.all && !listInto(outstanding, opened.number())) return false;
    std::set<std::string>& names = outstanding.names;
    std::erase_if(names,
                  [&](const std::string& name) { return watchChild(folder, opened.number(), *path, name); });
    return names.empty();
}

/// Adds the names of all folders in a folder to those to be looked at. False when it must be tried again.
bool InotifyWatch::listInto(Outstanding& outstanding, int folderDescriptor) const {
    const auto readable = OpenFolder::open(descriptorPath(folderDescriptor));
    if (!readable) return isOrdinary(errno);
    DirectoryListing listing;
    readable->list(ListingDetail::namesAndTypes, listing, rules_.stop);
    for (std::size_t i = 0; i < listing.count(); ++i) {
        if (listing[i].isDir) outstanding.names.emplace(listing[i].name);
    }
    outstanding.all = false;
    return true;
}

/// Whether `folder` is `above` or is believed to lie below it.
bool InotifyWatch::isBelow(WatchNumber folder, WatchNumber above) const {
    for (auto node = nodes_.find(folder); node != nodes_.end(); node = nodes_.find(node->second.parent)) {
        if (node->first == above) return true;
    }
    return false;
}

/// Watches what is at a name, if that is a folder. False when that contradicts what is known, because events
/// are still to come: a folder that went from below to above another.
bool InotifyWatch::watchChild(WatchNumber parent, int parentDescriptor, const std::string& parentPath,
                              const std::string& name) {
    if (rules_.stop.stop_requested() || !rules_.enters(joinPath(parentPath, name))) return true;
    const Descriptor folder(::openat(parentDescriptor, name.c_str(), nodeFlags | O_NOFOLLOW));
    if (!folder) {
        noteFailure(errno, {parent, name});
        return true;
    }
    const auto number = watch(folder.number(), {parent, name});
    if (!number) return true;
    if (isBelow(parent, *number)) return false;
    const bool isNew = !nodes_.contains(*number);
    put(*number, parent, name);
    if (!isNew) return true;
    // Most folders hold no others, so that nothing more is to be done for them.
    Outstanding below{.all = true, .names = {}};
    if (!listInto(below, folder.number()) || !below.names.empty()) outstanding_[*number] = std::move(below);
    // What happened in it before there was a watch has no event.
    if (!fresh_.contains(parent)) arrivals_.emplace(parent, name);
    fresh_.insert(*number);
    return true;
}

std::optional<InotifyWatch::WatchNumber> InotifyWatch::watch(int folderDescriptor, const Place& place) {
    const std::string path = descriptorPath(folderDescriptor);
    const WatchNumber number = ::inotify_add_watch(queue_.number(), path.c_str(), inotifyEvents);
    const bool isTooMany = number >= 0 && !nodes_.contains(number) && nodes_.size() >= rules_.maxWatches;
    if (isTooMany) {
        ::inotify_rm_watch(queue_.number(), number);
        errno = ENOSPC;
    } else if (number >= 0) {
        unwatched_.erase(place);
        return number;
    }
    if (errno == ENOSPC || errno == ENOMEM) {
        unwatched_.insert(place);
        if (!std::exchange(hasReportedLimit_, true)) rules_.reportLimit();
    } else {
        noteFailure(errno, place);
    }
    return std::nullopt;
}

/// A folder that cannot be watched for any other reason than a passing one, such as a failing disk, is left
/// to those who look again and again.
void InotifyWatch::noteFailure(int error, const Place& place) {
    if (isShortage(error)) {
        mustRestart_ = true;
    } else if (!isOrdinary(error)) {
        unwatched_.insert(place);
    }
}

void InotifyWatch::put(WatchNumber folder, WatchNumber parent, const std::string& name) {
    Node& node = nodes_[folder];
    if (node.parent == parent && node.name == name) return;
    if (node.parent != none) nodes_[node.parent].children.erase(node.name);
    detachAt(parent, name);
    detached_.erase(folder);
    detachedBefore_.erase(folder);
    node.parent = parent;
    node.name = name;
    nodes_[parent].children[name] = folder;
}

void InotifyWatch::detachAt(WatchNumber parent, const std::string& name) {
    unwatched_.erase({parent, name});
    const auto& children = nodes_[parent].children;
    if (const auto child = children.find(name); child != children.end()) detach(child->second);
}

void InotifyWatch::detach(WatchNumber folder) {
    Node& node = nodes_[folder];
    nodes_[node.parent].children.erase(node.name);
    node.parent = none;
    detached_.insert(folder);
}

/// Removes the watches of the folders and of all below them.
void InotifyWatch::forget(std::vector<WatchNumber> folders) {
    while (!folders.empty()) {
        const WatchNumber folder = folders.back();
        folders.pop_back();
        for (const auto& [name, child] : nodes_[folder].children)
            folders.push_back(child);
        ::inotify_rm_watch(queue_.number(), folder);
        erase(folder);
    }
}

void InotifyWatch::erase(WatchNumber folder) {
    const Node node = std::move(nodes_[folder]);
    nodes_.erase(folder);
    if (const auto parent = nodes_.find(node.parent); parent != nodes_.end())
        parent->second.children.erase(node.name);
    for (const auto& [name, child] : node.children) {
        nodes_[child].parent = none;
        detached_.insert(child);
    }
    roots_.erase(folder);
    outstanding_.erase(folder);
    detached_.erase(folder);
    detachedBefore_.erase(folder);
    const auto isHere = [&](const Place& place) { return place.first == folder; };
    const auto first = unwatched_.lower_bound({folder, ""});
    unwatched_.erase(first, std::find_if_not(first, unwatched_.end(), isHere));
}

std::optional<std::string> InotifyWatch::pathOf(WatchNumber folder) const {
    std::vector<const Node*> chain;
    WatchNumber at = folder;
    for (auto node = nodes_.find(at); node != nodes_.end(); node = nodes_.find(at)) {
        chain.push_back(&node->second);
        if (node->second.parent == none) break;
        at = node->second.parent;
    }
    if (!roots_.contains(at)) return std::nullopt;
    std::string path = chain.back()->name;
    if (path == "/") path.clear();
    for (std::size_t i = chain.size() - 1; i-- > 0;)
        path.append("/").append(chain[i]->name);
    return path.empty() ? "/" : path;
}

void InotifyWatch::take(ChangeSet& changes) {
    if (std::exchange(hasLost_, false)) changes.loseTrack();
    for (const WatchNumber folder : dirty_) {
        if (auto path = pathOf(folder)) changes.addPath(*std::move(path));
    }
    for (const auto& [parent, name] : arrivals_) {
        if (const auto path = pathOf(parent)) changes.addSubtree(joinPath(*path, name));
    }
    for (std::string& path : tops_)
        changes.addSubtree(std::move(path));
    dirty_.clear();
    arrivals_.clear();
    tops_.clear();
}

std::vector<std::string> InotifyWatch::unwatchedFolders() const {
    std::vector<std::string> paths;
    for (const auto& [parent, name] : unwatched_) {
        const auto path = parent == none ? std::optional(std::string()) : pathOf(parent);
        if (path) paths.push_back(parent == none ? name : joinPath(*path, name));
    }
    return paths;
}

}  // namespace dovra
