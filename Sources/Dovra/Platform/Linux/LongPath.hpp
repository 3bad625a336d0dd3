#pragma once

#include <string>

namespace dovra {

/// `openat` for a path of any length: one that is longer than the system takes in one call is opened folder
/// by folder. Returns the descriptor, or -1 with `errno` set.
int openLongPath(int start, const std::string& path, int flags);

}  // namespace dovra
