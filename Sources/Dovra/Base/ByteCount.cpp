#include "Base/ByteCount.hpp"

#include <array>
#include <cstddef>
#include <fmt/format.h>
#include <string_view>

namespace dovra {

namespace {

/// A unit, and the smallest step in which it is written.
struct Unit {
    std::string_view name;
    std::uint64_t stepBytes;
    std::uint64_t stepsPerUnit;
};

constexpr std::array units = {
    Unit{"KB", 1'000, 1},
    Unit{"MB", 100'000, 10},
    Unit{"GB", 10'000'000, 100},
    Unit{"TB", 10'000'000'000, 100},
    Unit{"PB", 10'000'000'000'000, 100},
    Unit{"EB", 10'000'000'000'000'000, 100},
};

std::uint64_t roundedSteps(std::uint64_t bytes, const Unit& unit) {
    return bytes / unit.stepBytes + (bytes % unit.stepBytes >= unit.stepBytes / 2 ? 1 : 0);
}

/// The number without zeros at the end of its decimals.
std::string decimalText(std::uint64_t steps, std::uint64_t stepsPerUnit) {
    while (stepsPerUnit > 1 && steps % 10 == 0) {
        steps /= 10;
        stepsPerUnit /= 10;
    }
    if (stepsPerUnit == 1) return fmt::format("{}", steps);
    const int decimals = stepsPerUnit == 10 ? 1 : 2;
    return fmt::format("{}.{:0{}}", steps / stepsPerUnit, steps % stepsPerUnit, decimals);
}

}  // namespace

std::string byteCountText(std::uint64_t bytes) {
    if (bytes == 0) return "Zero KB";
    if (bytes == 1) return "1 byte";
    if (bytes < 1000) return fmt::format("{} bytes", bytes);
    std::size_t u = 0;
    // Asked of the rounded number: what would be written as 1000 KB is 1 MB.
    while (u + 1 < units.size() && roundedSteps(bytes, units[u]) >= 1000 * units[u].stepsPerUnit)
        ++u;
    return fmt::format("{} {}", decimalText(roundedSteps(bytes, units[u]), units[u].stepsPerUnit),
                       units[u].name);
}

}  // namespace dovra
