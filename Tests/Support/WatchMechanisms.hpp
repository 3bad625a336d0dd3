#pragma once

#include <gtest/gtest.h>
#include <string>

#include "Platform/EventSource.hpp"

namespace dovra::test {

/// What tests of watching are repeated for.
inline const auto everyMechanism =
    testing::Values(WatchMechanism::best, WatchMechanism::watches, WatchMechanism::polling);

/// In the names of the tests; the best one is fanotify where it can be had at all.
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
