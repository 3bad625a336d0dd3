#pragma once

#include <optional>
#include <string>

#include "Platform/DirectoryListing.hpp"

namespace dovra {

/// Lists single folders. Stateless; any thread.
struct BulkEnumerator {
    /// Every entry of the folder, in the kernel's order, with attributes; absent when it cannot be opened. An
    /// error midway ends the listing with what was read so far.
    static std::optional<DirectoryListing> listDirectory(const std::string& path);
};

}  // namespace dovra
