#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "Analysis/Sha256.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

/// The digest of a range of a file; of what there is of it, if the file ends within. A length of 0 or less is
/// no bytes. Absent when reading fails. Any thread.
std::optional<Digest> rangeDigest(const RegularFile& file, std::uint64_t offset, std::int64_t length);

/// The same range of one or two files at once, which takes less time than one after the other. Absent for
/// a null file, and where reading fails. Any thread.
std::array<std::optional<Digest>, 2> rangeDigests(std::array<const RegularFile*, 2> files,
                                                  std::uint64_t offset, std::int64_t length);

}  // namespace dovra
