#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <stop_token>
#include <string>
#include <vector>

#include "Platform/ChangeSet.hpp"

namespace dovra {

/// Changes below some folders where the system does not tell of any: all folders are listed again and again,
/// and each whose listing differs from the last is told, then and once more after the next look. Whoever
/// looks at `nextTime` spends at most a twentieth of the time on it. For one thread.
class PollingWatch {
public:
    using Clock = std::chrono::steady_clock;

    /// `enters` tells whether the folder with a full path is to be looked into. After a request to stop
    /// nothing more is found.
    PollingWatch(std::function<bool(const std::string& path)> enters, std::stop_token stop)
        : enters_(std::move(enters)), stop_(std::move(stop)) {}

    /// Sets which trees are looked at. Those that were not before count as known as they are now.
    void setTrees(std::vector<std::string> trees);
    bool isIdle() const { return trees_.empty(); }
    std::size_t treeCount() const { return trees_.size(); }

    Clock::time_point nextTime() const { return nextTime_; }

    /// Looks at all trees and gathers what changed.
    void poll();

    bool hasChanges() const { return !changes_.empty(); }
    void take(ChangeSet& changes);

private:
    using Fingerprints = std::map<std::string, std::uint64_t>;

    void look(const std::string& tree, Fingerprints& found) const;

    std::function<bool(const std::string& path)> enters_;
    std::stop_token stop_;
    std::vector<std::string> trees_;
    std::map<std::string, Fingerprints> known_;  ///< for each tree
    std::vector<std::string> told_;              ///< after the last look
    Clock::time_point nextTime_ = Clock::time_point::max();
    ChangeSet changes_;
};

}  // namespace dovra
