#pragma once

#include <string>
#include <vector>

#include "Platform/DirectoryListing.hpp"
#include "Platform/Linux/Descriptor.hpp"

namespace dovra {

/// One line of the system's table of mounts.
struct Mount {
    int id = 0;
    DeviceId device = 0;
    std::string place;  ///< absolute path, raw bytes
    std::string type;   ///< of the file system
    std::string source;

    bool operator==(const Mount&) const = default;
};

/// The mounts that this process sees, in the order in which they were made.
std::vector<Mount> readMounts();

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
