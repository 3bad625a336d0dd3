#include "Platform/Process.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dovra {

void setCurrentThreadName(const std::string& name) {
    constexpr std::size_t mostBytes = 15;
    ::pthread_setname_np(::pthread_self(), name.substr(0, mostBytes).c_str());
}

std::string currentThreadName() {
    std::array<char, 16> name{};
    ::pthread_getname_np(::pthread_self(), name.data(), name.size());
    return name.data();
}

void lowerCurrentThreadPriority() {
    // On Linux the priority belongs to the thread. The system refuses a rise, but not to root.
    constexpr int givesWay = 10;
    const auto thread = static_cast<id_t>(::gettid());
    (void)::setpriority(PRIO_PROCESS, thread, std::max(givesWay, ::getpriority(PRIO_PROCESS, thread)));
}

void makeCurrentThreadIdle() {
    // A refusal, by a sandbox for example, leaves the thread as it was. The scheduler's own idle policy is no
    // choice: on a busy machine such a thread stands still for a minute, even inside the kernel. Other
    // threads that need the allocator, or the folder that it reads, then stand still too.
    constexpr int lowest = 19;
    (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), lowest);
    // The kernel's header of these numbers is not C++ in all its versions.
    constexpr int thread = 1;
    constexpr int idleClass = 3 << 13;
    (void)::syscall(SYS_ioprio_set, thread, 0, idleClass);
}

std::size_t openFileLimit() {
    struct rlimit limit {};
    return ::getrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : 0;
}

void raiseOpenFileLimit() {
    struct rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    // A refusal leaves the limit as it is.
    (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

std::optional<std::size_t> residentMemoryBytes() {
    std::ifstream status("/proc/self/statm");
    std::size_t virtualPages = 0;
    std::size_t residentPages = 0;
    if (!(status >> virtualPages >> residentPages)) return std::nullopt;
    return residentPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

namespace {

/// Large pages begin at multiples of their size, so the ends of the memory have none in any case.
void adviseLargePages(void* start, std::size_t bytes, int advice) {
    constexpr std::uintptr_t pageBytes = std::uintptr_t{2} << 20;
    const auto address = reinterpret_cast<std::uintptr_t>(start);
    const std::uintptr_t skipped = (pageBytes - address % pageBytes) % pageBytes;
    if (bytes < skipped + pageBytes) return;
    (void)::madvise(static_cast<char*>(start) + skipped, (bytes - skipped) / pageBytes * pageBytes, advice);
}

}  // namespace

void preferLargePages(void* start, std::size_t bytes) {
    adviseLargePages(start, bytes, MADV_HUGEPAGE);
}

void gatherIntoLargePages(const void* start, std::size_t bytes) {
    constexpr int collapse = 25;  // MADV_COLLAPSE of Linux 6.1, which older headers do not name
    adviseLargePages(const_cast<void*>(start), bytes, collapse);
}

}  // namespace dovra
