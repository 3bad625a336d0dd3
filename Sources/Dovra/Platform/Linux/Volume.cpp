#include "Platform/Volume.hpp"

#include <algorithm>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/sysmacros.h>

namespace dovra {

namespace {

struct Mount {
    DeviceId device;
    std::string source;
};

/// One line of the mount table: "36 35 98:0 /root /mount options [optional fields] - type source
/// superoptions".
std::optional<Mount> parseMount(const std::string& line) {
    std::istringstream fields(line);
    std::string identifier;
    std::string parent;
    std::string word;
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    char colon = 0;
    fields >> identifier >> parent >> majorNumber >> colon >> minorNumber;
    while (fields >> word && word != "-") {
    }
    std::string type;
    std::string source;
    if (!(fields >> type >> source)) return std::nullopt;
    return Mount{makedev(majorNumber, minorNumber), source};
}

std::vector<Mount> readMounts() {
    std::vector<Mount> mounts;
    std::ifstream table("/proc/self/mountinfo");
    for (std::string line; std::getline(table, line);) {
        if (auto mount = parseMount(line)) mounts.push_back(*std::move(mount));
    }
    return mounts;
}

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
