#include "Platform/CurrentThread.hpp"

#include <array>
#include <pthread.h>
#include <sys/resource.h>
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
    // On Linux the priority belongs to the thread. Refused only for asking for more than there was.
    constexpr int background = 10;
    (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), background);
}

}  // namespace dovra
