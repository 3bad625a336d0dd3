#pragma once

#include <cstdint>
#include <optional>

#include "Analysis/Sha256.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

/// The digest of a range of a file; of what there is of it, if the file ends within. A length of 0 or less is
/// no bytes. Absent when reading fails. Any thread.
std::optional<Digest> rangeDigest(const RegularFile& file, std::uint64_t offset, std::int64_t length);

}  // namespace dovra
