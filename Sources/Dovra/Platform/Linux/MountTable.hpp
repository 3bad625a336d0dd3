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
    int parent = 0;  ///< the mount in which the place is
    DeviceId device = 0;
    std::string root = {};   ///< the folder of the file system that is seen there
    std::string place = {};  ///< absolute path, raw bytes
    std::string type = {};   ///< of the file system
    std::string source = {};
    std::uint64_t instance = 0;  ///< set by who needs it, from `mountInstance`

    bool operator==(const Mount&) const = default;
};

/// The mounts that this process may see, also those that are covered by others. Empty when the system does
/// not say them.
std::vector<Mount> readMounts();

/// Whether what is mounted is seen at its place: nothing is mounted over it or over a folder on the way to
/// it.
bool isVisible(const Mount& mount, const std::vector<Mount>& table);

/// The mount on which the folder at `path` lies, with that path as its place. It need not be in the table:
/// the folder may be the root of a process that sees but a part of the mount. Absent when there is no folder.
std::optional<Mount> mountHolding(const std::string& path, const std::vector<Mount>& table);

/// Tells the mount at `place` from those that were there before it: the numbers in the table are soon given
/// to others. Kernels before 6.8 only know which folder is seen there, so that a file system that was mounted
/// in the place of one of its kind may count as the same.
std::uint64_t mountInstance(const std::string& place);

/// Tells when the table of mounts changes. A folder that is renamed takes the mounts in it to other places
/// without an event, so the table itself is compared too.
class MountWatch {
public:
    MountWatch();

    /// To be polled for exceptional conditions.
    int descriptor() const { return table_.number(); }

    /// Whether something was mounted or unmounted since the last call.
    bool hasChanged() const;

    /// Whether the table reads otherwise than at the last call: a folder above a mount may have been renamed,
    /// of which the system does not tell. Costs the more the more mounts there are.
    bool readsOtherwise();

private:
    Descriptor table_;
    std::string text_;
};

}  // namespace dovra
