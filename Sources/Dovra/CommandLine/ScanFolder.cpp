#include "CommandLine/ScanFolder.hpp"

#include "Base/Print.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

bool scanFolder(FileIndex& index, const std::optional<std::string>& folder, const CrawlOptions& options) {
    if (!folder) {
        printError("dovra: {}\n", noCurrentFolder);
        return false;
    }
    crawl(index, {*folder}, options);
    return true;
}

}  // namespace dovra
