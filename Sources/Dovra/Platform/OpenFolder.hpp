#pragma once

#include <cstdint>
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

/// What the system said of a folder at one moment. The system changes it with every name that comes or goes,
/// so a folder whose stamp is still the same has the same list of names, as far as its times can tell two
/// moments apart (`StampClock`).
struct FolderStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;    ///< 0 in a stamp that is not known, which equals no folder's
    std::int64_t modified = 0;  ///< when the list of names changed, nanoseconds since 1970
    std::int64_t changed = 0;   ///< when anything about the folder changed, nanoseconds since 1970

    bool isKnown() const { return inode != 0; }
    /// Whether both are known, and of one folder, however it changed in between.
    bool isOfSameFolder(const FolderStamp& other) const {
        return isKnown() && device == other.device && inode == other.inode;
    }
    bool operator==(const FolderStamp&) const = default;
};

/// The stamp of the folder at this path, or where a link at the path leads to; one that is not known when it
/// cannot be asked.
FolderStamp folderStamp(const std::string& path);

static_assert(std::is_trivially_copyable_v<FolderStamp> && sizeof(FolderStamp) == 32);

/// Tells one mounted file system from another.
using DeviceId = std::uint64_t;

/// What a listing asks of the system for each entry.
enum class ListingDetail : std::uint8_t {
    /// Name and type alone, which the folder itself answers: sizes and times stay 0.
    namesAndTypes,
    /// Size and times too, at the price of one more system call an entry.
    attributes,
};

/// One listed entry. The name is a view into the listing that holds it: raw bytes, never empty, without "/".
struct RawDirent {
    std::string_view name;
    bool isDir = false;
    bool isSymlink = false;
    std::uint64_t size = 0;  ///< length of the data in bytes; 0 for folders
    double modTime = 0;      ///< whole seconds since 1970
    double crTime = 0;  ///< whole seconds; the modification time where the file system keeps no creation time
};

/// The entries of one folder in the order in which the kernel returned them. The names lie back to back in
/// one block, so that a folder of a million entries costs two allocations. Not thread-safe.
class FolderListing {
public:
    std::size_t count() const { return records_.size(); }
    RawDirent operator[](std::size_t i) const;

    void add(const RawDirent& entry);
    void clear();

    /// Bytes that the listing keeps, about.
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

/// An open folder: the one handle through which it is listed and its device is asked. Closed with the object.
/// Threads may share it to open what lies below; listing is for one thread at a time.
class OpenFolder {
public:
    /// Opens the folder at `path`, or where a link at `path` leads to. Absent when that is not a folder or
    /// cannot be opened. Paths may be longer than the system takes in one call.
    static std::optional<OpenFolder> open(const std::string& path);

    /// Opens the folder at `path` below this one; this one itself if that is empty. Absent as above, and when
    /// there is a link anywhere on the way.
    std::optional<OpenFolder> openBelow(const std::string& path) const;

    /// Why a folder could not be opened, or an attribute not be asked.
    enum class Refusal : std::uint8_t {
        missing,    ///< there is none: nothing, something else, or a link on the way to it
        forbidden,  ///< this user may not read it
        failed,     ///< anything else; what is there is not known
    };

    /// As `open`, and tells why when it cannot.
    static std::variant<OpenFolder, Refusal> tryOpen(const std::string& path);

    /// As `openBelow`, and tells why when it cannot.
    std::variant<OpenFolder, Refusal> tryOpenBelow(const std::string& path) const;

    /// Takes over an open descriptor of a folder.
    explicit OpenFolder(Descriptor folder) : folder_(std::move(folder)) {}

    /// Appends every entry but "." and ".." to `listing`, which is empty. An error midway, or a request to
    /// stop, ends the listing with what was read; returns whether there was none. A folder that was deleted
    /// since it was opened is empty.
    bool list(ListingDetail detail, FolderListing& listing, const std::stop_token& stop = {}) const;

    /// The attributes of what has this name in the folder, or of the folder itself, as a listing would tell
    /// them, but without the name. Tells why when it cannot; `missing` is nothing of that name.
    std::variant<RawDirent, Refusal> attributes(const std::string& name = "") const;

    DeviceId device() const { return stamp().device; }

    /// Device, inode and times in one call. Not known (but for the device) when it cannot be asked or a time
    /// lies outside the years 1678 to 2262, which nanoseconds can tell.
    FolderStamp stamp() const;

    /// The device of what lies at `path` below this folder (a link itself, not its target), without
    /// triggering an automount; of the folder above for "..". Absent when it cannot be asked.
    std::optional<DeviceId> deviceBelow(const std::string& path) const;

    /// Whether the folder lies on a file system of the kernel's own (process table, device nodes, controls):
    /// it holds no files of the user's.
    bool isOnKernelFileSystem() const;

    /// For what the system is asked elsewhere; stays this object's.
    int descriptor() const { return folder_.number(); }

private:
    Descriptor folder_;
};

}  // namespace dovra
