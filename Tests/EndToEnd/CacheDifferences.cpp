#include <cstring>
#include <fmt/format.h>
#include <string>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Index/DiskComparison.hpp"
#include "Index/IndexImage.hpp"
#include "Platform/RegularFile.hpp"
#include "Support/FreshScan.hpp"

// Prints what tells the index in a cache file from a fresh scan of its root; with "now", all that does and
// can be saved; with "after-replay", the names and kinds that would still be wrong when a start has listed
// again every folder whose stamp is another one now: a stamp that proves what is not so. Status 0 when there
// is nothing to tell, 1 when there is, 2 when the file is not loaded.

using namespace dovra;

namespace {

int print(const std::vector<std::string>& differences) {
    for (const std::string& difference : differences)
        fmt::print("{}\n", difference);
    return differences.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        fmt::print(stderr, "usage: cache_differences <cache file> <root> now|after-replay\n");
        return 2;
    }
    const std::string root = argv[2];
    FileIndex index;
    const auto file = RegularFile::open(argv[1]);
    const IndexImageSubject subject{.volumeDev = folderStamp(root).device, .root = root};
    if (!file || !loadIndexImage(index, IndexImageSource::fromFile(*file), subject)) {
        fmt::print("not loaded: {}\n", argv[1]);
        return 2;
    }
    if (std::strcmp(argv[3], "now") == 0)
        return print(test::differencesFromFreshScan(index, root, test::Compared::whatIsSaved));
    applyChanges(index, changedFolders(index));
    return print(test::differencesFromFreshScan(index, root, test::Compared::namesAndKinds));
}
