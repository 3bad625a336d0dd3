#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Descriptor.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

/// One line of the system's table of mounts.
struct Mount {
    int id = 0;
    int parent = 0;  ///< the mount that holds the place
    DeviceId device = 0;
    std::string root = {};   ///< the folder of the file system that is visible at the place
    std::string place = {};  ///< absolute path, raw bytes
    std::string type = {};   ///< of the file system
    std::string source = {};
    std::uint64_t instance = 0;  ///< set by the caller, from `mountInstance`, if needed

    bool operator==(const Mount&) const = default;
};

/// The mounts visible to this process, also those covered by others. Empty when the table cannot be read.
std::vector<Mount> readMounts();

/// Whether the mount is visible at its place: no other mount covers it or a folder on the way to it.
bool isVisible(const Mount& mount, const std::vector<Mount>& table);

/// The mount that holds the folder at `path`, with that path as its place. It need not be in the table: the
/// root folder of the process may be only a part of the mount. Absent when there is no folder.
std::optional<Mount> mountHolding(const std::string& path, const std::vector<Mount>& table);

/// A number that differs from that of any earlier mount at `place`; the numbers in the table are soon used
/// again. Kernels before 6.8 give only the inode of the visible folder, so two file systems of one kind may
/// have the same number.
std::uint64_t mountInstance(const std::string& place);

/// Notices changes of the table of mounts. A renamed folder takes the mounts in it to other places without an
/// event, so the table itself is compared too.
class MountWatch {
public:
    MountWatch();

    /// To be polled for exceptional conditions.
    int descriptor() const { return table_.number(); }

    /// Whether something was mounted or unmounted since the last call.
    bool hasChanged() const;

    /// Whether the table's text differs from the last call's, as after the rename of a folder above a mount,
    /// which has no event. Costs time in proportion to the number of mounts.
    bool readsOtherwise();

private:
    Descriptor table_;
    std::string text_;
};

}  // namespace dovra
