#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Analysis/Hashing.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

/// The file at a position of a list; null when it can no longer be read. Called on any thread.
using FileAt = std::function<std::shared_ptr<const RegularFile>(std::size_t position)>;

/// Digests of one range, of at least one byte, of one or more files. Equal digests mean equal bytes, as far
/// as the files reach; beyond this call they are worthless. Absent where a file cannot be read. Runs on
/// several processors when there is much to read.
std::vector<std::optional<Digest>> rangeDigests(std::size_t count, const FileAt& fileAt, std::uint64_t offset,
                                                std::uint64_t length);

}  // namespace dovra
