#pragma once

#include <cstdint>
#include <stop_token>
#include <string>

#include "Analysis/FolderUsage.hpp"
#include "Index/FileIndex.hpp"
#include "Servers/Http/RecentSearches.hpp"

namespace dovra {

/// The progress of the index, as a page shows it.
struct IndexState {
    bool isIndexing = false;  ///< a scan goes on: what is shown is not all
    std::int64_t items = 0;   ///< indexed by now
    std::string root;
};

/// The sources of a page's data.
struct PageContext {
    const FileIndex& index;
    const FolderUsage& usage;
    RecentSearches& recent;
    IndexState state;
    double now = 0;  ///< seconds since 1970
    bool allowsDownload = false;
    std::stop_token stop = {};  ///< once it is requested nobody waits for the page
};

}  // namespace dovra
