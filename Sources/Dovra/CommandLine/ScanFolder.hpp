#pragma once

#include <optional>
#include <string>

#include "Index/Crawl.hpp"

namespace dovra {

/// Scans what lies below the folder that the arguments name, into an empty index. False when they name none,
/// which has been reported on standard error.
[[nodiscard]] bool scanFolder(FileIndex& index, const std::optional<std::string>& folder,
                              const CrawlOptions& options = {});

}  // namespace dovra
