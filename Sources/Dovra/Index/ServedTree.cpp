#include "Index/ServedTree.hpp"

#include <algorithm>
#include <utility>

#include "Index/Crawl.hpp"
#include "Platform/Volume.hpp"

namespace dovra {

std::string parentPath(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return std::string(slash == 0 ? "/" : path.substr(0, slash));
}

ServedTree::ServedTree(std::string path, bool restrictToStartupVolume)
    : path_(std::move(path)), folder_(OpenFolder::tryOpen(path_)) {
    if (restrictToStartupVolume) allowedDevices_ = startupVolumeDevices();
}

std::variant<OpenFolder, OpenFolder::Refusal> ServedTree::open(const std::string& path) const {
    if (const auto* refusal = std::get_if<OpenFolder::Refusal>(&folder_)) return *refusal;
    const std::size_t start = path_ == "/" ? 1 : path_.size() + 1;
    return std::get<OpenFolder>(folder_).tryOpenBelow(path.substr(std::min(path.size(), start)));
}

bool ServedTree::isSkipped(std::string_view path) const {
    return isBelowSkippedFolder(path, path_);
}

bool ServedTree::enters(const OpenFolder& folder) const {
    const DeviceId device = folder.device();
    const bool isAllowed =
        allowedDevices_.empty() || std::ranges::find(allowedDevices_, device) != allowedDevices_.end();
    // A scan that began inside a file system of the kernel's own goes on in it.
    return isAllowed &&
           (!folder.isOnKernelFileSystem() || folder.deviceBelow("..").value_or(device) == device);
}

}  // namespace dovra
