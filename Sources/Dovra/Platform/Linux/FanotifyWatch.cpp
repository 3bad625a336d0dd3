#include "Platform/Linux/FanotifyWatch.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/fanotify.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "Base/IsAtOrBelow.hpp"
#include "Platform/Linux/FileErrors.hpp"

namespace dovra {

namespace {

// A queue without a limit: the kernel loses nothing.
constexpr unsigned fanotifyFlags =
    FAN_CLASS_NOTIF | FAN_REPORT_DFID_NAME | FAN_UNLIMITED_QUEUE | FAN_NONBLOCK | FAN_CLOEXEC;

constexpr std::uint64_t fanotifyEvents = FAN_CREATE | FAN_DELETE | FAN_MOVED_FROM | FAN_MOVED_TO |
                                         FAN_MODIFY | FAN_CLOSE_WRITE | FAN_ATTRIB | FAN_ONDIR;

/// Handles and names that wait to be taken, before we give up and ask for a scan.
constexpr std::size_t maxWaitingBytes = std::size_t{64} << 20;

constexpr std::size_t systemIdBytes = sizeof(fsid_t);

/// What identifies a file system in events; the kernel's two forms of it have the same bytes.
std::optional<std::string> systemIdOf(int place) {
    struct statfs status {};
    if (::fstatfs(place, &status) != 0) return std::nullopt;
    std::string id(systemIdBytes, '\0');
    std::memcpy(id.data(), &status.f_fsid, systemIdBytes);
    return id;
}

/// Room for the largest handle.
union Handle {
    file_handle head;
    std::array<char, sizeof(file_handle) + MAX_HANDLE_SZ> room;
};

int openByHandle(int mountFolder, std::string_view handle) {
    Handle copy{};
    std::memcpy(copy.room.data(), handle.data(), std::min(handle.size(), copy.room.size()));
    return ::open_by_handle_at(mountFolder, &copy.head, O_PATH | O_CLOEXEC);
}

Descriptor openPlace(const std::string& place) {
    return Descriptor(::open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// Whether folders of the mount can be opened by their handles.
bool opensByHandle(int place) {
    Handle handle{};
    handle.head.handle_bytes = MAX_HANDLE_SZ;
    int mountId = 0;
    if (::name_to_handle_at(place, "", &handle.head, &mountId, AT_EMPTY_PATH) != 0) return false;
    return static_cast<bool>(Descriptor(openByHandle(place, {handle.room.data(), handle.room.size()})));
}

/// Mounts the volume that holds all subvolumes of a btrfs, where nobody else sees it. As read-only, so that a
/// file system that is mounted so stays so.
Descriptor mountTopLevel(const Mount& mount) {
    const Descriptor context(::fsopen("btrfs", FSOPEN_CLOEXEC));
    const auto configure = [&](fsconfig_command command, const char* key, const char* value) {
        return ::fsconfig(context.number(), command, key, value, 0) == 0;
    };
    const bool isConfigured = context && configure(FSCONFIG_SET_STRING, "source", mount.source.c_str()) &&
                              configure(FSCONFIG_SET_STRING, "subvolid", "5") &&
                              configure(FSCONFIG_SET_FLAG, "ro", nullptr) &&
                              configure(FSCONFIG_CMD_CREATE, nullptr, nullptr);
    return Descriptor(isConfigured ? ::fsmount(context.number(), FSMOUNT_CLOEXEC, 0) : -1);
}

/// The path that the kernel says for an open folder; absent when it is longer than it says.
std::optional<std::string> saidPath(int folder) {
    std::array<char, PATH_MAX> path{};
    const ssize_t length =
        ::readlink(fmt::format("/proc/self/fd/{}", folder).c_str(), path.data(), path.size());
    if (length <= 0 || static_cast<std::size_t>(length) == path.size()) return std::nullopt;
    return std::string(path.data(), static_cast<std::size_t>(length));
}

bool leadsTo(const std::string& path, int folder) {
    struct stat there {};
    struct stat here {};
    return ::lstat(path.c_str(), &there) == 0 && ::fstat(folder, &here) == 0 && there.st_dev == here.st_dev &&
           there.st_ino == here.st_ino;
}

using DeepFolders = FanotifyWatch::DeepFolders;

/// Of the folder, or with ".." of the one that holds it.
std::optional<DeepFolders::key_type> identityOf(int folder, const char* path = "") {
    struct statx found {};
    if (::statx(folder, path, AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_INO | STATX_MNT_ID, &found) != 0)
        return std::nullopt;
    return DeepFolders::key_type(makedev(found.stx_dev_major, found.stx_dev_minor), found.stx_mnt_id,
                                 found.stx_ino);
}

/// What is known of the folder, from itself or from the folder that holds it, which is as deep.
DeepFolders::const_iterator findKnown(int folder, const DeepFolders& deep) {
    for (const char* path : {"", ".."}) {
        const auto identity = deep.empty() ? std::nullopt : identityOf(folder, path);
        const auto known = identity ? deep.find(*identity) : deep.end();
        if (known != deep.end()) return known;
    }
    return deep.end();
}

/// Whether a folder is seen at or near the root. Most of what happens on a file system happens elsewhere.
bool concerns(const std::string& path, int folder, std::string_view root) {
    return (isAtOrBelow(path, root) || isAtOrBelow(root, path)) && leadsTo(path, folder);
}

/// The folder itself, or the nearest one above whose path the kernel says.
struct FoundFolder {
    std::shared_ptr<const std::string> path;
    bool isItself;
};

/// Absent with errno 0 when the folder is not seen at or near the root.
std::optional<FoundFolder> findFolder(Descriptor folder, std::string_view root, DeepFolders& deep) {
    std::vector<DeepFolders::key_type> climbed;
    std::shared_ptr<const std::string> found;
    for (;;) {
        const auto known = findKnown(folder.number(), deep);
        const auto path = known == deep.end() ? saidPath(folder.number()) : std::nullopt;
        if (path) {
            if (concerns(*path, folder.number(), root)) found = std::make_shared<const std::string>(*path);
            break;
        }
        const auto identity = identityOf(folder.number());
        if (!identity) return std::nullopt;
        climbed.push_back(*identity);
        if (known != deep.end()) {
            found = known->second;
            break;
        }
        Descriptor above(::openat(folder.number(), "..", O_PATH | O_CLOEXEC));
        if (!above) return std::nullopt;
        folder = std::move(above);
    }
    for (const auto& identity : climbed)
        deep[identity] = found;
    errno = 0;
    if (!found) return std::nullopt;
    return FoundFolder{std::move(found), climbed.empty()};
}

}  // namespace

std::optional<FanotifyWatch> FanotifyWatch::open(std::string root) {
    Descriptor queue(::fanotify_init(fanotifyFlags, O_RDONLY | O_CLOEXEC));
    if (!queue) return std::nullopt;
    return FanotifyWatch(std::move(queue), std::move(root));
}

bool FanotifyWatch::addMount(const Mount& mount) {
    const Descriptor place = openPlace(mount.place);
    if (!place || !opensByHandle(place.number())) return false;
    if (mark(mount, place.number())) return true;
    // A subvolume refuses a mark of the whole file system that it is a part of; the top level does not.
    if (errno != EXDEV || mount.type != "btrfs") return false;
    const Descriptor top = mountTopLevel(mount);
    return top && mark(mount, top.number());
}

bool FanotifyWatch::mark(const Mount& mount, int folder) {
    auto systemId = systemIdOf(folder);
    if (!systemId || changeMark(FAN_MARK_ADD, fanotifyEvents, folder) != 0) return false;
    systemIds_[mount.id] = *std::move(systemId);
    return true;
}

bool FanotifyWatch::hasLost(const Mount& mount) const {
    // To take away what the mark has not changes nothing, and fails where there is no mark.
    const auto tryMark = [&](int folder) { return changeMark(FAN_MARK_REMOVE, FAN_OPEN, folder); };
    const Descriptor place = openPlace(mount.place);
    if (!place) return false;
    int error = tryMark(place.number());
    if (error == EXDEV && mount.type == "btrfs") {
        if (const Descriptor top = mountTopLevel(mount)) error = tryMark(top.number());
    }
    return error == ENOENT;
}

int FanotifyWatch::changeMark(unsigned change, std::uint64_t events, int folder) const {
    const bool isChanged =
        ::fanotify_mark(queue_.number(), change | FAN_MARK_FILESYSTEM, events, folder, ".") == 0;
    return isChanged ? 0 : errno;
}

void FanotifyWatch::drain() {
    alignas(fanotify_event_metadata) static thread_local char buffer[256 * 1024];
    // No more than what is queued now: who writes without pause would keep us here.
    int queued = 0;
    if (::ioctl(queue_.number(), FIONREAD, &queued) != 0) return;
    for (std::size_t left = static_cast<std::size_t>(queued) / FAN_EVENT_METADATA_LEN; left > 0;) {
        const ssize_t length = ::read(queue_.number(), buffer, sizeof buffer);
        if (length < 0 && errno == EINTR) continue;
        if (length < 0 && errno != EAGAIN) hasLost_ = true;
        if (length <= 0) return;
        left -= std::min(left, takeEvents(buffer, static_cast<std::size_t>(length)));
    }
}

/// Returns how many events there were.
std::size_t FanotifyWatch::takeEvents(const char* events, std::size_t length) {
    std::size_t count = 0;
    for (std::size_t offset = 0; offset < length;) {
        fanotify_event_metadata event{};
        std::memcpy(&event, events + offset, sizeof event);
        if (event.event_len < sizeof event) break;
        const std::size_t records = offset + event.metadata_len;
        takeRecord(event.mask, {events + records, event.event_len - event.metadata_len});
        offset += event.event_len;
        ++count;
    }
    return count;
}

/// An event's record: a header, the file system, the handle of the folder, and a name with a NUL behind it.
void FanotifyWatch::takeRecord(std::uint64_t mask, std::string_view record) {
    constexpr std::size_t handleAt = sizeof(fanotify_event_info_header) + systemIdBytes;
    if (record.size() < handleAt + sizeof(file_handle) || hasLost_) return;
    fanotify_event_info_header header{};
    std::memcpy(&header, record.data(), sizeof header);
    file_handle handle{};
    std::memcpy(static_cast<void*>(&handle), record.data() + handleAt, sizeof handle);
    const std::size_t keyBytes = systemIdBytes + sizeof handle + handle.handle_bytes;
    FolderChanges& changed = changesOf(record.substr(sizeof(fanotify_event_info_header), keyBytes));
    const bool isFolder = (mask & FAN_ONDIR) != 0;
    const bool arrives = isFolder && (mask & (FAN_CREATE | FAN_MOVED_TO)) != 0;
    const bool hasName = header.info_type == FAN_EVENT_INFO_TYPE_DFID_NAME;
    const std::string_view name =
        hasName ? record.data() + handleAt + sizeof handle + handle.handle_bytes : "";
    if (isFolder || name.empty()) changed.addWhole();
    const bool isKept = isFolder ? arrives && changed.addArrival(name) : changed.addFile(name);
    if (isKept) bytes_ += name.size();
    if (bytes_ > maxWaitingBytes) hasLost_ = true;
}

/// Where the changes of a folder are gathered.
FolderChanges& FanotifyWatch::changesOf(std::string_view key) {
    if (const auto known = byKey_.find(key); known != byKey_.end()) return known->second->changes;
    Changed& added = folders_.emplace_back(Key(key), FolderChanges());
    byKey_.emplace(added.key, &added);
    bytes_ += key.size();
    return added.changes;
}

void FanotifyWatch::take(const std::vector<Mount>& mounts, ChangeSet& changes) {
    byKey_.clear();
    const auto folders = std::exchange(folders_, {});
    bytes_ = 0;
    if (std::exchange(hasLost_, false)) {
        changes.loseTrack();
        return;
    }
    for (const Mount& mount : mounts)
        takeThrough(mount, folders, changes);
}

void FanotifyWatch::takeThrough(const Mount& mount, const Folders& folders, ChangeSet& changes) {
    // Opened only now: an open folder would keep the file system from being unmounted.
    const Descriptor place = openPlace(mount.place);
    const bool mustWait = !place && isShortage(errno);
    if (!place && !mustWait) return;
    const std::string& systemId = systemIds_.at(mount.id);
    DeepFolders deep;
    for (const Changed& changed : folders) {
        if (!changed.key.starts_with(systemId)) continue;
        if (mustWait) {
            keep(changed);
        } else {
            tell(place, mount, changed, deep, changes);
        }
    }
}

void FanotifyWatch::tell(const Descriptor& place, const Mount& mount, const Changed& changed,
                         DeepFolders& deep, ChangeSet& changes) {
    const auto& [key, folderChanges] = changed;
    Descriptor opened(openByHandle(place.number(), std::string_view(key).substr(systemIdBytes)));
    if (!opened) {
        // Otherwise a folder that was deleted; its parent has an event of its own.
        if (isShortage(errno)) {
            keep(changed);
        } else if (errno != ESTALE && errno != ENOENT && broken_.insert(key).second) {
            // Once, because a disk may fail there for ever.
            changes.addSubtree(mount.place);
        }
        return;
    }
    broken_.erase(key);
    const auto found = findFolder(std::move(opened), root_, deep);
    if (found) {
        folderChanges.tell(*found->path, found->isItself, changes);
    } else if (isShortage(errno)) {
        keep(changed);
    }
}

void FanotifyWatch::keep(const Changed& changed) {
    if (byKey_.contains(changed.key)) return;
    changesOf(changed.key) = changed.changes;
    bytes_ += changed.changes.bytes();
}

}  // namespace dovra
