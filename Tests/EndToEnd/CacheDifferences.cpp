#include <cstring>
#include <fmt/format.h>
#include <string>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Index/DiskComparison.hpp"
#include "Index/IndexImage.hpp"
#include "Platform/RegularFile.hpp"
#include "Support/FreshScan.hpp"

// Prints the differences between the index in a cache file and a fresh scan of its root. With "now": all
// differences in what a cache keeps. With "after-replay": the wrong names and kinds that remain after every
// folder with a changed stamp was listed again, so a stamp vouches for something wrong. Status 0 without a
// difference, 1 with one, 2 when the file cannot be loaded.

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
