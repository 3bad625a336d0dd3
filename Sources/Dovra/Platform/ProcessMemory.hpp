#pragma once

#include <cstddef>
#include <optional>

namespace dovra {

/// Bytes of physical memory that this process holds right now, its program and libraries included. Absent
/// when the system does not tell.
std::optional<std::size_t> residentMemoryBytes();

/// Asks the system to back memory that is about to be filled with large pages, which makes far fewer of them.
/// A wish: the system may have none, and what is smaller than one is not asked for.
void preferLargePages(void* start, std::size_t bytes);

}  // namespace dovra
