#include "Platform/OpenFileLimit.hpp"

#include <sys/resource.h>

namespace dovra {

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

}  // namespace dovra
