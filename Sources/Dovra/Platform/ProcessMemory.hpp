#pragma once

#include <cstddef>
#include <optional>

namespace dovra {

/// Bytes of physical memory that this process holds right now, its program and libraries included. Absent
/// when the system does not tell.
std::optional<std::size_t> residentMemoryBytes();

}  // namespace dovra
