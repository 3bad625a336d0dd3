#pragma once

#include <cstdint>
#include <string>

namespace dovra {

/// A number of bytes as people write the size of a file, in powers of 1000: "Zero KB", "1 byte", "999 bytes",
/// "12 KB", "1.2 MB", "1.23 GB"; up to EB. Megabytes have at most one decimal, larger units two; half a step
/// is rounded up.
std::string byteCountText(std::uint64_t bytes);

}  // namespace dovra
