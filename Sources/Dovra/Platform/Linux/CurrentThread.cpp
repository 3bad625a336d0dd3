#include "Platform/CurrentThread.hpp"

#include <array>
#include <linux/ioprio.h>
#include <pthread.h>
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
    // On Linux the priority belongs to the thread. The system refuses only a rise.
    constexpr int givesWay = 10;
    (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), givesWay);
}

void makeCurrentThreadIdle() {
    // A refusal, by a sandbox for example, leaves the thread as it was. The scheduler's own idle policy is no
    // choice: on a busy machine such a thread stands still for a minute, even inside the kernel. Other
    // threads that need the allocator, or the folder that it reads, then stand still too.
    constexpr int lowest = 19;
    (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), lowest);
    (void)::syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0, IOPRIO_PRIO_VALUE(IOPRIO_CLASS_IDLE, 0));
}

}  // namespace dovra
