#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/DirectoryListing.hpp"
#include "Platform/Linux/Descriptor.hpp"

namespace dovra {

/// One line of the system's table of mounts.
struct Mount {
    int id = 0;
    DeviceId device = 0;
    std::string root;   ///< the folder of the file system that is seen there
    std::string place;  ///< absolute path, raw bytes
    std::string type;   ///< of the file system
    std::string source;
    std::uint64_t instance = 0;  ///< set by who needs it, from `mountInstance`

    bool operator==(const Mount&) const = default;
};

/// The mounts that this process sees, in the order in which they were made.
std::vector<Mount> readMounts();

/// Tells the mount at `place` from those that were there before it: the numbers in the table are soon given
/// to others. Kernels before 6.8 only know which folder is seen there, so that a file system that was mounted
/// in the place of one of its kind may count as the same.
std::uint64_t mountInstance(const std::string& place);

/// Tells when the table of mounts changes.
class MountWatch {
public:
    MountWatch();

    /// To be polled for exceptional conditions.
    int descriptor() const { return table_.number(); }

    /// Whether the table changed since the last call.
    bool hasChanged();

private:
    Descriptor table_;
};

}  // namespace dovra
