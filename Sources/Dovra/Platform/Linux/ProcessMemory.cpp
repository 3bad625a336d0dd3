#include "Platform/ProcessMemory.hpp"

#include <cstdint>
#include <fstream>
#include <sys/mman.h>
#include <unistd.h>

namespace dovra {

std::optional<std::size_t> residentMemoryBytes() {
    std::ifstream status("/proc/self/statm");
    std::size_t virtualPages = 0;
    std::size_t residentPages = 0;
    if (!(status >> virtualPages >> residentPages)) return std::nullopt;
    return residentPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

void preferLargePages(void* start, std::size_t bytes) {
    // Large pages begin at multiples of their size, so the ends of the memory have none in any case.
    constexpr std::uintptr_t pageBytes = std::uintptr_t{2} << 20;
    const auto address = reinterpret_cast<std::uintptr_t>(start);
    const std::uintptr_t skipped = (pageBytes - address % pageBytes) % pageBytes;
    if (bytes < skipped + pageBytes) return;
    (void)::madvise(static_cast<char*>(start) + skipped, (bytes - skipped) / pageBytes * pageBytes,
                    MADV_HUGEPAGE);
}

}  // namespace dovra
