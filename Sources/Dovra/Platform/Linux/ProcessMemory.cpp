#include "Platform/ProcessMemory.hpp"

#include <fstream>
#include <unistd.h>

namespace dovra {

std::optional<std::size_t> residentMemoryBytes() {
    std::ifstream status("/proc/self/statm");
    std::size_t virtualPages = 0;
    std::size_t residentPages = 0;
    if (!(status >> virtualPages >> residentPages)) return std::nullopt;
    return residentPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace dovra
