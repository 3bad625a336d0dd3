#include "Platform/Volume.hpp"

#include <algorithm>

#include "Platform/Linux/MountTable.hpp"

namespace dovra {

namespace {

bool contains(const std::vector<DeviceId>& devices, DeviceId device) {
    return std::ranges::find(devices, device) != devices.end();
}

}  // namespace

std::vector<DeviceId> startupVolumeDevices() {
    std::vector<DeviceId> devices;
    for (const char* path : {"/", "/home"}) {
        if (const auto folder = OpenFolder::open(path)) devices.push_back(folder->device());
    }
    const std::vector<DeviceId> own = devices;
    const std::vector<Mount> mounts = readMounts();
    for (const Mount& mount : mounts) {
        const bool isOnOwnDisk = std::ranges::any_of(mounts, [&](const Mount& other) {
            return other.source == mount.source && contains(own, other.device);
        });
        if (mount.source.starts_with("/dev/") && isOnOwnDisk && !contains(devices, mount.device))
            devices.push_back(mount.device);
    }
    return devices;
}

}  // namespace dovra
