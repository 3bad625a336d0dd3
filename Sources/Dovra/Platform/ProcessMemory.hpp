#pragma once

#include <cstddef>
#include <optional>

namespace dovra {

/// The physical memory of this process in bytes, its program and libraries included. Absent when the system
/// does not report it.
std::optional<std::size_t> residentMemoryBytes();

/// Asks the system for large pages behind memory that is about to be filled, because they fill faster. The
/// system may have none. Memory smaller than a large page is left alone.
void preferLargePages(void* start, std::size_t bytes);

}  // namespace dovra
