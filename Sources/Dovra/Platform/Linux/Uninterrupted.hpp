#pragma once

#include <cerrno>

namespace dovra {

/// Repeats a system call that a signal interrupted. On a network file system that happens even to opening.
template <typename Call>
auto uninterrupted(const Call& call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

}  // namespace dovra
