#pragma once

#include <optional>
#include <string>

#include "Index/Crawl.hpp"

namespace dovra {

/// Scans the tree below the given folder into an empty index. False when the folder is absent, which is
/// reported on standard error.
[[nodiscard]] bool scanFolder(FileIndex& index, const std::optional<std::string>& folder,
                              const CrawlOptions& options = {});

}  // namespace dovra
