#include "Platform/OpenFolder.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <limits>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

RawDirent FolderListing::operator[](std::size_t i) const {
    const Record& record = records_[i];
    return {.name = {names_.data() + record.nameOffset, record.nameLen},
            .isDir = record.isDir,
            .isSymlink = record.isSymlink,
            .size = record.size,
            .modTime = record.modTime,
            .crTime = record.crTime};
}

void FolderListing::add(const RawDirent& entry) {
    records_.push_back({.size = entry.size,
                        .modTime = entry.modTime,
                        .crTime = entry.crTime,
                        .nameLen = static_cast<std::uint32_t>(entry.name.size()),
                        .isDir = entry.isDir,
                        .isSymlink = entry.isSymlink,
                        .nameOffset = names_.size()});
    names_.append(entry.name.data(), entry.name.size());
}

void FolderListing::clear() {
    records_.clear();
    names_.clear();
}

namespace {

// The order of a listing does not depend on the size. More than 64 KiB saves system calls in folders of
// thousands of entries, and costs nothing in small ones.
constexpr std::size_t listingBufferBytes = std::size_t{256} * 1024;

constexpr unsigned attributeMask = STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_BTIME;
constexpr int attributeFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;

void setAttributes(RawDirent& entry, const struct statx& attributes) {
    entry.isDir = S_ISDIR(attributes.stx_mode);
    entry.isSymlink = S_ISLNK(attributes.stx_mode);
    entry.size = entry.isDir ? 0 : attributes.stx_size;
    entry.modTime = static_cast<double>(attributes.stx_mtime.tv_sec);
    const bool hasBirthTime = (attributes.stx_mask & STATX_BTIME) != 0;
    entry.crTime = hasBirthTime ? static_cast<double>(attributes.stx_btime.tv_sec) : entry.modTime;
}

/// Completes an entry from the disk. False when it is gone. After any other failure (a folder that may be
/// listed but not searched) the entry stays as the listing gave it.
bool readAttributes(int folder, const char* name, RawDirent& entry) {
    struct statx attributes {};
    if (::statx(folder, name, attributeFlags, attributeMask, &attributes) == 0) {
        setAttributes(entry, attributes);
        return true;
    }
    return errno != ENOENT;
}

bool isSelfOrParent(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

void addEntry(int folder, const dirent64& raw, ListingDetail detail, const AttributeChoice& needsAttributes,
              FolderListing& listing) {
    if (isSelfOrParent(raw.d_name)) return;
    RawDirent entry{.name = raw.d_name, .isDir = raw.d_type == DT_DIR, .isSymlink = raw.d_type == DT_LNK};
    const bool needs =
        detail == ListingDetail::attributes && (!needsAttributes || needsAttributes(entry.name, entry.isDir));
    const bool asksDisk = needs || raw.d_type == DT_UNKNOWN;
    if (asksDisk && !readAttributes(folder, raw.d_name, entry)) return;
    listing.add(entry);
}

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::optional<std::int64_t> nanoseconds(const timespec& time) {
    constexpr std::int64_t perSecond = 1'000'000'000;
    constexpr std::int64_t longest = std::numeric_limits<std::int64_t>::max() / perSecond - 1;
    if (time.tv_sec < -longest || time.tv_sec > longest) return std::nullopt;
    return time.tv_sec * perSecond + time.tv_nsec;
}

OpenFolder::Refusal refusal(int error) {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
        case ELOOP:
        case ENAMETOOLONG:
            return OpenFolder::Refusal::missing;
        case EACCES:
        case EPERM:
            return OpenFolder::Refusal::forbidden;
        default:
            return OpenFolder::Refusal::failed;
    }
}

FolderStamp stampOf(const struct stat& status) {
    const auto modified = nanoseconds(status.st_mtim);
    const auto changed = nanoseconds(status.st_ctim);
    if (!modified || !changed) return {.device = status.st_dev};
    return {.device = status.st_dev, .inode = status.st_ino, .modified = *modified, .changed = *changed};
}

constexpr std::uint32_t kernelFileSystems[] = {
    PROC_SUPER_MAGIC,
    SYSFS_MAGIC,
    CGROUP_SUPER_MAGIC,
    CGROUP2_SUPER_MAGIC,
    DEVPTS_SUPER_MAGIC,
    TRACEFS_MAGIC,
    DEBUGFS_MAGIC,
    SECURITYFS_MAGIC,
    BPF_FS_MAGIC,
    PSTOREFS_MAGIC,
    EFIVARFS_MAGIC,
    SELINUX_MAGIC,
    SMACK_MAGIC,
    BINFMTFS_MAGIC,
    NSFS_MAGIC,
    RDTGROUP_SUPER_MAGIC,
    0x62656570 /* configfs */,
    0x19800202 /* mqueue */,
    0x65735543 /* fusectl */,
    0x67596969 /* rpc_pipefs */,
};

}  // namespace

std::optional<OpenFolder> OpenFolder::open(const std::string& path) {
    Descriptor folder = openLongPath(AT_FDCWD, path, folderFlags);
    return folder ? std::optional(OpenFolder(std::move(folder))) : std::nullopt;
}

std::optional<OpenFolder> OpenFolder::openBelow(const std::string& path) const {
    Descriptor folder =
        openLongPath(folder_.number(), path.empty() ? "." : path, folderFlags, RESOLVE_NO_SYMLINKS);
    return folder ? std::optional(OpenFolder(std::move(folder))) : std::nullopt;
}

std::variant<OpenFolder, OpenFolder::Refusal> OpenFolder::tryOpen(const std::string& path) {
    auto folder = open(path);
    if (!folder) return refusal(errno);
    return *std::move(folder);
}

std::variant<OpenFolder, OpenFolder::Refusal> OpenFolder::tryOpenBelow(const std::string& path) const {
    auto folder = openBelow(path);
    if (!folder) return refusal(errno);
    return *std::move(folder);
}

std::variant<RawDirent, OpenFolder::Refusal> OpenFolder::attributes(const std::string& name) const {
    struct statx attributes {};
    const int flags = attributeFlags | AT_EMPTY_PATH;
    if (::statx(folder_.number(), name.c_str(), flags, attributeMask, &attributes) != 0)
        return refusal(errno);
    RawDirent entry;
    setAttributes(entry, attributes);
    return entry;
}

void OpenFolder::rewind() const {
    ::lseek(folder_.number(), 0, SEEK_SET);
}

bool OpenFolder::list(ListingDetail detail, FolderListing& listing, const std::stop_token& stop,
                      const AttributeChoice& needsAttributes) const {
    thread_local std::vector<char> buffer(listingBufferBytes);
    for (;;) {
        const ssize_t length = ::getdents64(folder_.number(), buffer.data(), buffer.size());
        if (length == 0) return true;
        if (length < 0) {
            // Only an empty folder can be deleted.
            if (errno == ENOENT) listing.clear();
            return errno == ENOENT;
        }
        for (ssize_t offset = 0; offset < length;) {
            if (stop.stop_requested()) return false;
            const auto* raw = reinterpret_cast<const dirent64*>(buffer.data() + offset);
            addEntry(folder_.number(), *raw, detail, needsAttributes, listing);
            offset += raw->d_reclen;
        }
    }
}

FolderStamp OpenFolder::stamp() const {
    struct stat status {};
    return ::fstat(folder_.number(), &status) == 0 ? stampOf(status) : FolderStamp{};
}

FolderStamp folderStamp(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) ? stampOf(status) : FolderStamp{};
}

bool OpenFolder::isOnKernelFileSystem() const {
    struct statfs status {};
    if (::fstatfs(folder_.number(), &status) != 0) return false;
    return std::ranges::find(kernelFileSystems, static_cast<std::uint32_t>(status.f_type)) !=
           std::end(kernelFileSystems);
}

std::optional<DeviceId> OpenFolder::deviceBelow(const std::string& path) const {
    struct statx attributes {};
    if (::statx(folder_.number(), path.c_str(), attributeFlags, STATX_TYPE, &attributes) != 0)
        return std::nullopt;
    return makedev(attributes.stx_dev_major, attributes.stx_dev_minor);
}

}  // namespace dovra
