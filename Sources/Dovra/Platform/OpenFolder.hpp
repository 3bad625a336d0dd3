#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "Base/PodVector.hpp"
#include "Platform/Descriptor.hpp"

namespace dovra {

/// The identity and the times of a folder at one moment. Every name that comes or goes changes the times. So
/// a folder with the same stamp has the same list of names, as far as its times can tell two moments apart
/// (`StampClock`).
struct FolderStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;    ///< 0 in an unknown stamp, which equals no folder's
    std::int64_t modified = 0;  ///< last change of the list of names, nanoseconds since 1970
    std::int64_t changed = 0;   ///< last change of the folder in any way, nanoseconds since 1970

    bool isKnown() const { return inode != 0; }
    /// Whether both stamps are known, and of one folder at any two moments.
    bool isOfSameFolder(const FolderStamp& other) const {
        return isKnown() && device == other.device && inode == other.inode;
    }
    bool operator==(const FolderStamp&) const = default;
};

/// The stamp of the folder at this path, or at the target of a link there; unknown after any failure.
FolderStamp folderStamp(const std::string& path);

static_assert(std::is_trivially_copyable_v<FolderStamp> && sizeof(FolderStamp) == 32);

/// Identifies a mounted file system.
using DeviceId = std::uint64_t;

/// The data that a listing asks of the system for each entry.
enum class ListingDetail : std::uint8_t {
    /// Names and types, which the folder itself holds. Sizes and times stay 0.
    namesAndTypes,
    /// Sizes and times too, at the price of one more system call an entry.
    attributes,
};

/// Whether a listing with attributes asks those of the entry with this name; of all entries when it is empty.
/// Sizes and times of the others stay 0. Any thread may call it.
using AttributeChoice = std::function<bool(std::string_view name, bool isFolder)>;

/// One listed entry. The name is a view into the listing that holds it: raw bytes, never empty, without "/".
struct RawDirent {
    std::string_view name;
    bool isDir = false;
    bool isSymlink = false;
    std::uint64_t size = 0;  ///< length of the data in bytes; 0 for folders
    double modTime = 0;      ///< whole seconds since 1970
    double crTime = 0;       ///< whole seconds; the modification time on a file system without creation times
};

/// The entries of one folder in the kernel's order. The names lie back to back in one block, so a folder of a
/// million entries costs two allocations. Not thread-safe.
class FolderListing {
public:
    std::size_t count() const { return records_.size(); }
    RawDirent operator[](std::size_t i) const;

    void add(const RawDirent& entry);
    void clear();

    /// Drops the entries and keeps their memory for others.
    void truncate() {
        records_.truncate(0);
        names_.truncate(0);
    }
    std::size_t capacityBytes() const { return records_.capacityBytes() + names_.capacityBytes(); }

    /// The approximate memory of the listing.
    std::size_t memoryBytes() const { return records_.size() * sizeof(Record) + names_.size(); }

private:
    struct Record {
        std::uint64_t size;
        double modTime;
        double crTime;
        std::uint32_t nameLen;
        bool isDir;
        bool isSymlink;
        std::size_t nameOffset;
    };

    PodVector<Record> records_;
    PodVector<char> names_;
};

/// An open folder: the handle for listing it and asking its attributes. Closed with the object. Threads may
/// share it to open folders below; listing is for one thread at a time.
class OpenFolder {
public:
    /// Opens the folder at `path`, or at the target of a link there. Absent when that is no folder or cannot
    /// be opened. Paths may be longer than the system's limit for one call.
    static std::optional<OpenFolder> open(const std::string& path);

    /// Opens the folder at `path` below this one; this one itself for the empty path. Absent as above, and
    /// when any part of the way is a link.
    std::optional<OpenFolder> openBelow(const std::string& path) const;

    /// The reason why opening a folder or asking an attribute failed.
    enum class Refusal : std::uint8_t {
        missing,    ///< there is no folder: nothing, something else, or a link on the way
        forbidden,  ///< this user may not read it
        failed,     ///< any other reason; the disk's state is unknown
    };

    /// As `open`, with the reason of a failure.
    static std::variant<OpenFolder, Refusal> tryOpen(const std::string& path);

    /// As `openBelow`, with the reason of a failure.
    std::variant<OpenFolder, Refusal> tryOpenBelow(const std::string& path) const;

    /// Takes over an open descriptor of a folder.
    explicit OpenFolder(Descriptor folder) : folder_(std::move(folder)) {}

    /// Lets `list` read the present entries, from the first one. Btrfs lists those of the moment when the
    /// folder was opened or last rewound. So whoever has set a watch since then rewinds before listing.
    void rewind() const;

    /// Appends every entry but "." and ".." to `listing`, which is empty. An error midway, or a request to
    /// stop, ends the listing with the entries read so far. Returns whether the listing is complete. A folder
    /// that was deleted after it was opened is empty. A second listing without rewinding finds no entries.
    bool list(ListingDetail detail, FolderListing& listing, const std::stop_token& stop = {},
              const AttributeChoice& needsAttributes = {}) const;

    /// The attributes of the entry with this name in the folder, or of the folder itself, as in a listing but
    /// without the name. On failure the reason; `missing` means no entry of that name.
    std::variant<RawDirent, Refusal> attributes(const std::string& name = "") const;

    DeviceId device() const { return stamp().device; }

    /// Device, inode and times in one call. Unknown (except for the device) after a failure, and for times
    /// outside the range of nanoseconds, the years 1678 to 2262.
    FolderStamp stamp() const;

    /// The device of the entry at `path` below this folder (of a link itself, not its target), without
    /// triggering an automount; of the folder above for "..". Absent after a failure.
    std::optional<DeviceId> deviceBelow(const std::string& path) const;

    /// Whether the folder lies on a file system of the kernel's own (process table, device nodes, controls),
    /// without files of the user's.
    bool isOnKernelFileSystem() const;

    /// The descriptor, for further system calls. The object keeps it.
    int descriptor() const { return folder_.number(); }

private:
    Descriptor folder_;
};

}  // namespace dovra
