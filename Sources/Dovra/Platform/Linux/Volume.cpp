#include "Platform/Volume.hpp"

#include <algorithm>
#include <string>
#include <string_view>

#include "Platform/Linux/MountTable.hpp"

namespace dovra {

namespace {

bool isBlockDevice(const std::string& source) {
    return source.starts_with("/dev/");
}

}  // namespace

std::vector<DeviceId> startupVolumeDevices() {
    std::vector<DeviceId> devices;
    for (const char* path : {"/", "/home"}) {
        if (const auto folder = OpenFolder::open(path)) devices.push_back(folder->device());
    }
    const std::vector<Mount> mounts = readMounts();
    const auto holds = [&](DeviceId device) { return std::ranges::find(devices, device) != devices.end(); };
    std::vector<std::string_view> sources;
    for (const Mount& mount : mounts) {
        if (isBlockDevice(mount.source) && holds(mount.device)) sources.push_back(mount.source);
    }
    for (const Mount& mount : mounts) {
        const bool sameSource = std::ranges::find(sources, std::string_view(mount.source)) != sources.end();
        if (sameSource && !holds(mount.device)) devices.push_back(mount.device);
    }
    return devices;
}

}  // namespace dovra
