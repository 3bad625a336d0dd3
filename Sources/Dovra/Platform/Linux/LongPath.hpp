#pragma once

#include <cstdint>
#include <string>

#include "Platform/Descriptor.hpp"

namespace dovra {

/// Opens a path of any length from the folder `start`. A path beyond the system's limit for one call is
/// opened step by step. `resolve` are the rules of `openat2` for the way. Without a number on failure;
/// `errno` gives the reason.
Descriptor openLongPath(int start, const std::string& path, int flags, std::uint64_t resolve = 0);

}  // namespace dovra
