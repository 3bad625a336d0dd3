#pragma once

#include <cstdint>
#include <string>

#include "Platform/Descriptor.hpp"

namespace dovra {

/// Opens a path of any length from the folder `start`: one that is longer than the system takes in one call
/// is opened folder by folder. `resolve` are the rules of `openat2` for the way. Without a number on failure,
/// and `errno` tells why.
Descriptor openLongPath(int start, const std::string& path, int flags, std::uint64_t resolve = 0);

}  // namespace dovra
