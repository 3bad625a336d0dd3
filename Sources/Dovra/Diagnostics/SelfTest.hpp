#pragma once

#include <cstdint>
#include <string>

namespace dovra {

/// "--selftest": scans a folder tree, checks the index, and compares the answers to generated queries with
/// those of an obvious search, before and after a part of the entries is deleted from the index. Reads only.
struct SelfTest {
    static constexpr std::uint64_t usualSeed = 1;

    /// Prints the checks on standard output, and for each difference the command that repeats it. The exit
    /// status: 0 when all agrees; 1 on any difference, or when the folder cannot be read. `seed` chooses the
    /// queries.
    static int run(const std::string& path, std::uint64_t seed);
};

}  // namespace dovra
