#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/DirectoryListing.hpp"

namespace dovra {

/// The folder above; of "/" itself.
std::string parentPath(std::string_view path);

/// One folder where a scan began, as it is on the disk now, and what a scan would enter below it.
class ServedTree {
public:
    ServedTree(std::string path, bool restrictToStartupVolume);

    const std::string& path() const { return path_; }

    /// Opens the folder at `path`, which is at or below the root's, never by way of a link.
    std::variant<OpenFolder, OpenFolder::Refusal> open(const std::string& path) const;

    /// Whether a scan enters neither this folder nor what lies below it, by the path alone.
    bool isSkipped(std::string_view path) const;

    /// Whether a scan enters a folder other than the root, by the file system that it lies on. One that was
    /// entered once may have been mounted over.
    bool enters(const OpenFolder& folder) const;

private:
    std::string path_;
    std::variant<OpenFolder, OpenFolder::Refusal> folder_;
    std::vector<DeviceId> allowedDevices_;  ///< empty for all
};

}  // namespace dovra
