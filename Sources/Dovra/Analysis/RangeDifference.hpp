#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Analysis/Sha256.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

/// The file at a position of a list; null when it cannot be read any more. Called on any thread.
using FileAt = std::function<std::shared_ptr<const RegularFile>(std::size_t position)>;

/// Names the same range of `count` files, so that equal names stand for equal bytes among the files of this
/// call: of what there is of them, where files end within. Absent where reading fails. Most bytes are compared
/// and not hashed when most files are equal to the first. Spread over the processors when there is much to
/// read.
std::vector<std::optional<Digest>> rangeDifferences(std::size_t count, const FileAt& fileAt,
                                                    std::uint64_t offset, std::uint64_t length);

}  // namespace dovra
