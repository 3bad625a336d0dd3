#include "Platform/Linux/FanotifyWatch.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <map>
#include <memory>
#include <sys/fanotify.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <tuple>
#include <unistd.h>

#include "Base/PathText.hpp"
#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

namespace {

// With a queue without a limit the kernel loses no event.
constexpr unsigned fanotifyFlags =
    FAN_CLASS_NOTIF | FAN_REPORT_DFID_NAME | FAN_UNLIMITED_QUEUE | FAN_NONBLOCK | FAN_CLOEXEC;

constexpr std::uint64_t fanotifyEvents = FAN_CREATE | FAN_DELETE | FAN_MOVED_FROM | FAN_MOVED_TO |
                                         FAN_MODIFY | FAN_CLOSE_WRITE | FAN_ATTRIB | FAN_ONDIR;

/// The limit of waiting handles and names. Beyond it the changes count as lost.
constexpr std::size_t maxWaitingBytes = std::size_t{64} << 20;

constexpr std::size_t systemIdBytes = sizeof(fsid_t);

/// The identifier of a file system in events. The kernel's two forms of it have the same bytes.
std::optional<std::string> systemIdOf(const Descriptor& place) {
    struct statfs status {};
    if (::fstatfs(place.number(), &status) != 0) return std::nullopt;
    std::string id(systemIdBytes, '\0');
    std::memcpy(id.data(), &status.f_fsid, systemIdBytes);
    return id;
}

/// Room for the largest handle.
union Handle {
    file_handle head;
    std::array<char, sizeof(file_handle) + MAX_HANDLE_SZ> room;
};

Descriptor openByHandle(const Descriptor& place, std::string_view handle) {
    Handle copy{};
    std::memcpy(copy.room.data(), handle.data(), std::min(handle.size(), copy.room.size()));
    return Descriptor(::open_by_handle_at(place.number(), &copy.head, O_PATH | O_CLOEXEC));
}

Descriptor openPlace(const std::string& place) {
    return Descriptor(::open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// Whether folders of the mount can be opened by their handles.
bool opensByHandle(const Descriptor& place) {
    Handle handle{};
    handle.head.handle_bytes = MAX_HANDLE_SZ;
    int mountId = 0;
    return ::name_to_handle_at(place.number(), "", &handle.head, &mountId, AT_EMPTY_PATH) == 0 &&
           openByHandle(place, {handle.room.data(), handle.room.size()});
}

/// Mounts the volume that holds all subvolumes of a btrfs, invisible to others. The mount is read-only, so a
/// read-only file system stays so.
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

/// The kernel's path of an open folder. Absent with ENAMETOOLONG when it is too long for the kernel.
std::optional<std::string> descriptorPath(const Descriptor& folder) {
    std::array<char, PATH_MAX> path{};
    const ssize_t length =
        ::readlink(fmt::format("/proc/self/fd/{}", folder.number()).c_str(), path.data(), path.size());
    if (length < 0) return std::nullopt;
    return std::string(path.data(), static_cast<std::size_t>(length));
}

Descriptor openAbove(const Descriptor& folder, std::size_t levels) {
    std::string path;
    for (std::size_t level = 0; level < levels; ++level)
        path += "../";
    return Descriptor(::openat(folder.number(), path.c_str(), O_PATH | O_CLOEXEC));
}

}  // namespace

/// Finds the paths of one batch's folders, through a mount. Most changes of a file system lie outside the
/// root.
class FanotifyWatch::Finder {
public:
    Finder(const Descriptor& place, std::string_view root) : place_(place), root_(root) {}

    struct Found {
        /// The path of the folder, or of the nearest one above with a path that the kernel says. Null when
        /// that is not at, above or below the root.
        std::shared_ptr<const std::string> path;
        std::size_t levels;  ///< its distance above the folder, at least
    };

    /// Absent after an error, with `errno`.
    std::optional<Found> find(std::string_view handle);

private:
    /// Device, mount and inode.
    using Identity = std::tuple<DeviceId, std::uint64_t, std::uint64_t>;

    /// The levels climbed in one call, whose path must not be too long; a power of two.
    static constexpr std::size_t stride = 1024;

    static std::optional<Identity> identityOf(const Descriptor& folder, const char* path = "");
    std::shared_ptr<const std::string> ifConcerned(std::string path, const Descriptor& folder) const;
    std::optional<Found> climb(Descriptor folder) const;
    void remember(Descriptor folder, const Found& found);

    const Descriptor& place_;
    std::string_view root_;
    /// Results for some folders too deep for the kernel to say their paths. So a deep tree is climbed a few
    /// times, and not from each of its folders.
    std::map<Identity, std::shared_ptr<const std::string>> deep_;
};

std::optional<FanotifyWatch::Finder::Found> FanotifyWatch::Finder::find(std::string_view handle) {
    Descriptor folder = openByHandle(place_, handle);
    if (!folder) return std::nullopt;
    // The folder above may be known; it is as good as the folder itself.
    for (const char* path : {"", ".."}) {
        const auto identity = deep_.empty() ? std::nullopt : identityOf(folder, path);
        const auto known = identity ? deep_.find(*identity) : deep_.end();
        if (known == deep_.end()) continue;
        const Found found{known->second, 1};
        remember(std::move(folder), found);
        return found;
    }
    if (auto path = descriptorPath(folder)) return Found{ifConcerned(*std::move(path), folder), 0};
    auto found = errno == ENAMETOOLONG ? climb(std::move(folder)) : std::nullopt;
    if (found) remember(openByHandle(place_, handle), *found);
    return found;
}

/// The identity of the folder, or with ".." of the folder above.
std::optional<FanotifyWatch::Finder::Identity> FanotifyWatch::Finder::identityOf(const Descriptor& folder,
                                                                                 const char* path) {
    struct statx found {};
    const int flags = AT_EMPTY_PATH | AT_STATX_DONT_SYNC;
    if (::statx(folder.number(), path, flags, STATX_INO | STATX_MNT_ID, &found) != 0) return std::nullopt;
    return Identity(makedev(found.stx_dev_major, found.stx_dev_minor), found.stx_mnt_id, found.stx_ino);
}

std::shared_ptr<const std::string> FanotifyWatch::Finder::ifConcerned(std::string path,
                                                                      const Descriptor& folder) const {
    const bool isNear = isAtOrBelow(path, root_) || isAtOrBelow(root_, path);
    return isNear && standsAt(folder, path) ? std::make_shared<const std::string>(std::move(path)) : nullptr;
}

/// Climbs from a folder too deep for the kernel: in long strides up to a folder with a path, then by halves
/// down to the lowest such folder. No folder stays open for long: the last one to close it must clean up
/// everything that was removed above it meanwhile.
std::optional<FanotifyWatch::Finder::Found> FanotifyWatch::Finder::climb(Descriptor folder) const {
    std::optional<Found> found;
    std::size_t levels = 0;
    for (std::size_t step = stride; step > 0; step /= found ? 2 : 1) {
        Descriptor above = openAbove(folder, step);
        if (!above) return std::nullopt;
        if (auto path = descriptorPath(above)) {
            found = {ifConcerned(*std::move(path), above), levels + step};
        } else if (errno == ENAMETOOLONG) {
            folder = std::move(above);
            levels += step;
        } else {
            return std::nullopt;
        }
    }
    return found;
}

/// Remembers the result for the folder and up to one stride of deep folders above it, because the next folder
/// may be one of these.
void FanotifyWatch::Finder::remember(Descriptor folder, const Found& found) {
    for (std::size_t level = 0; folder && level < std::min(found.levels, stride); ++level) {
        const auto identity = identityOf(folder);
        if (!identity || !deep_.emplace(*identity, found.path).second) return;
        folder = openAbove(folder, 1);
    }
}

std::optional<FanotifyWatch> FanotifyWatch::open(std::string root) {
    Descriptor queue(::fanotify_init(fanotifyFlags, O_RDONLY | O_CLOEXEC));
    if (!queue) return std::nullopt;
    return FanotifyWatch(std::move(queue), std::move(root));
}

bool FanotifyWatch::addMount(const Mount& mount) {
    const Descriptor place = openPlace(mount.place);
    return place && opensByHandle(place) && changeMark(mount, place, FAN_MARK_ADD, fanotifyEvents) == 0;
}

bool FanotifyWatch::hasLost(const Mount& mount) {
    const Descriptor place = openPlace(mount.place);
    // Removing an event that the mark does not have changes nothing, and fails without a mark.
    return place && changeMark(mount, place, FAN_MARK_REMOVE, FAN_OPEN) == ENOENT;
}

int FanotifyWatch::changeMark(const Mount& mount, const Descriptor& place, unsigned change,
                              std::uint64_t events) {
    const auto changeThrough = [&](const Descriptor& folder) {
        auto systemId = systemIdOf(folder);
        const unsigned flags = change | FAN_MARK_FILESYSTEM;
        if (!systemId || ::fanotify_mark(queue_.number(), flags, events, folder.number(), ".") != 0)
            return errno;
        systemIds_[mount.id] = *std::move(systemId);
        return 0;
    };
    const int error = changeThrough(place);
    // A subvolume refuses a mark on its whole file system; the top level accepts it.
    if (error != EXDEV || mount.type != "btrfs") return error;
    const Descriptor top = mountTopLevel(mount);
    return top ? changeThrough(top) : error;
}

void FanotifyWatch::drain() {
    alignas(fanotify_event_metadata) static thread_local char buffer[256 * 1024];
    // Only the present queue is read: a program that writes without pause would keep us here.
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

/// Returns the number of events.
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

/// The gathered changes of the folder.
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
    // The place is opened only now, because an open folder would keep its file system from being unmounted.
    const Descriptor place = openPlace(mount.place);
    const bool mustWait = !place && isShortage(errno);
    if (!place && !mustWait) return;
    const std::string& systemId = systemIds_.at(mount.id);
    Finder finder(place, root_);
    for (const Changed& changed : folders) {
        if (!changed.key.starts_with(systemId)) continue;
        if (mustWait) {
            keep(changed);
        } else {
            tell(mount, changed, finder, changes);
        }
    }
}

void FanotifyWatch::tell(const Mount& mount, const Changed& changed, Finder& finder, ChangeSet& changes) {
    const auto& [key, folderChanges] = changed;
    const auto found = finder.find(std::string_view(key).substr(systemIdBytes));
    if (found) {
        broken_.erase(key);
        if (found->path) folderChanges.tell(*found->path, found->levels == 0, changes);
    } else if (isShortage(errno)) {
        keep(changed);
    } else if (errno != ESTALE && errno != ENOENT && broken_.insert(key).second) {
        // The folder was not deleted (its parent has an event for that) but fails to open. The mount is
        // reported only once, because the disk may fail there for ever.
        changes.addSubtree(mount.place);
    }
}

void FanotifyWatch::keep(const Changed& changed) {
    if (byKey_.contains(changed.key)) return;
    changesOf(changed.key) = changed.changes;
    bytes_ += changed.changes.bytes();
}

}  // namespace dovra
