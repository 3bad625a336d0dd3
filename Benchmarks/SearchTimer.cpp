// search_timer <folder> <query>...: scans the folder, then prints for each query the matches, the median and
// the shortest time of a search in milliseconds, separated by tabs. The comparison with other programs needs
// the time of a search without that of the scan.

#include <fmt/core.h>
#include <string>

#include "Diagnostics/Latency.hpp"
#include "Index/Crawl.hpp"
#include "Platform/Paths.hpp"
#include "Query/SearchEngine.hpp"

using namespace dovra;

namespace {

constexpr std::int64_t pageRows = 100;

void printTime(const FileIndex& index, std::string_view query) {
    std::int64_t matches = 0;
    const Latency latency =
        Latency::measure({.time = std::chrono::milliseconds(200), .atLeast = 5, .atMost = 500},
                         [&] { matches = search(index, query, {}, pageRows).total; });
    fmt::print("{}\t{:.4f}\t{:.4f}\n", matches, latency.median(), latency.minimum());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        fmt::print(stderr, "usage: search_timer <folder> <query>...\n");
        return 2;
    }
    FileIndex index;
    crawl(index, {standardizedPath(argv[1]).value_or(argv[1])}, {});
    for (int i = 2; i < argc; ++i)
        printTime(index, argv[i]);
    return 0;
}
