#pragma once

#include <gtest/gtest.h>
#include <string>

#include "Platform/EventSource.hpp"

namespace dovra::test {

/// The mechanisms for which tests of watching are repeated.
inline const auto everyMechanism =
    testing::Values(WatchMechanism::best, WatchMechanism::watches, WatchMechanism::polling);

/// The name of a mechanism in test names. The best one is fanotify where it is available.
inline std::string mechanismName(const testing::TestParamInfo<WatchMechanism>& info) {
    switch (info.param) {
        case WatchMechanism::best:
            return "fanotify";
        case WatchMechanism::watches:
            return "inotify";
        case WatchMechanism::polling:
            break;
    }
    return "polling";
}

}  // namespace dovra::test
