#pragma once

#include <string_view>

namespace dovra {

/// The mode "--bench": the cost of scanning, holding and searching a real tree on this machine.
struct Benchmark {
    /// Scans the folder tree at `root`, with a trigram index if asked, and prints the index's size, the time
    /// of a scan, the memory of an entry, the size of a cache file with the times of saving and loading it,
    /// and the time of each of a fixed list of queries. Returns the exit status: 0, or 1 with a message on
    /// standard error when the folder cannot be read.
    static int run(std::string_view root, bool trigram);
};

}  // namespace dovra
