#pragma once

#include <cstdio>
#include <cstdlib>

namespace dovra {

/// Ends the program with `message` unless `holds`: what a fuzz target says of every input.
inline void fuzzCheck(bool holds, const char* message) {
    if (holds) return;
    std::fprintf(stderr, "fuzz check failed: %s\n", message);
    std::abort();
}

}  // namespace dovra
